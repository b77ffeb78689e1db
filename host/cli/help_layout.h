// What a command tells of itself: the one text behind --help and the manual pages. A footer
// is made of sections: a title that ends in ':', then lines that are indented.
#pragma once

#include "host/cli/command_options.h"

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

struct HelpExample {
    std::string_view purpose;
    std::string_view command;
};

// How --help is laid out, for the program and the commands that are added after this call.
void set_help_layout(CLI::App& program);
// What holds for every command, as the program's footer: exit codes, environment variables.
void add_program_sections(CLI::App& program);
// As the command's footer; the commands are to be copied as they are.
void add_examples(Command command, std::initializer_list<HelpExample> examples);

// What the command's --help prints.
std::string make_help(const CLI::App& command);

// What stands behind the option's name, " FILE"; nothing for a flag.
std::string value_label(const CLI::Option& option);
// Its description, with its default.
std::string describe_option(const CLI::Option& option);

// Without those of hidden groups, in the order in which they were added.
std::vector<const CLI::App*> visible_commands(const CLI::App& command);
std::vector<const CLI::Option*> visible_options(const CLI::App& command);
std::vector<const CLI::Option*> positionals(const CLI::App& command);
// A flag takes no value.
bool takes_value(const CLI::Option& option);

} // namespace talvora::host
