// The commands of the program, one source file each. A new one is its file, its line in
// host/cli/CMakeLists.txt, its name here and its line in the table of command_line.cpp. A file
// is called as its command, and NAME_command.cpp where the name means more than the command.
#pragma once

#include "host/cli/command_options.h"
#include "host/cli/session.h"

namespace talvora::host {

// Adds a command with its options to the program; the command's work is its callback,
// which reports through the session and throws what goes wrong.
using AddCommand = void(Command program, Session& session);

AddCommand add_units_command;
AddCommand add_describe_command;
AddCommand add_import_command;
AddCommand add_export_command;
AddCommand add_plot_command;
AddCommand add_tree_command;
AddCommand add_attributes_command;
AddCommand add_run_command;
AddCommand add_recipe_command;
AddCommand add_history_command;
AddCommand add_design_command;
AddCommand add_validate_command;
AddCommand add_version_command;
AddCommand add_help_command;
// For the build and for the shell.
AddCommand add_manual_command;
AddCommand add_complete_command;

} // namespace talvora::host
