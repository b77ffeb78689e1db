#include "host/cli/command_line.h"

#include "host/cli/commands.h"
#include "host/cli/describe.h"
#include "host/cli/help_layout.h"
#include "host/cli/print_exception.h"
#include "host/cli/printed_files.h"
#include "host/cli/session.h"
#include "host/hdf5/hdf5_error_stack.h"
#include "host/system/file_limit.h"
#include "host/system/pending_cleanup.h"
#include "host/system/standard_streams.h"
#include "host/text/failure.h"
#include "host/text/nearest_text.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {
namespace {

constexpr int MAX_MIB = 1 << 20;
constexpr int MAX_IDLE_SECONDS = 1 << 20;

constexpr AddCommand* COMMANDS[] = {
    add_units_command,      add_describe_command, add_import_command, add_tree_command,
    add_attributes_command, add_run_command,      add_recipe_command, add_history_command,
    add_export_command,     add_plot_command,     add_design_command, add_validate_command,
    add_version_command,    add_help_command,     add_manual_command, add_complete_command};

void add_shared_options(CLI::App& program, Session& session) {
    Command(program)
        .add_option("--plugin", session.plugin_option,
                    "The plug-in library (else TALVORA_PLUGIN_PATH, else the one beside the "
                    "program)")
        .value_name("FILE")
        .path();
    program
        .add_option("--memory", session.memory_mib,
                    "MiB of data sets that may be kept in memory while a unit goes through them "
                    "line by line")
        ->check(CLI::Range(0, MAX_MIB))
        ->option_text("MIB")
        ->capture_default_str();
    program
        .add_option_function<std::uint64_t>(
            "--idle-time",
            [&](std::uint64_t seconds) {
                session.limits.idle_time = std::chrono::seconds(seconds);
            },
            "Seconds without progress after which reading a file is given up; 0: never")
        ->check(CLI::Range(0, MAX_IDLE_SECONDS))
        ->option_text("SECONDS")
        ->default_str(std::to_string(session.limits.idle_time.count()));
    program
        .add_option_function<std::uint64_t>(
            "--read-memory", [&](std::uint64_t mib) { session.limits.memory = mib << 20U; },
            "MiB of memory that reading a file may take; 0: as much as the machine has")
        ->check(CLI::Range(0, MAX_MIB))
        ->option_text("MIB")
        ->default_str("0");
    program.add_flag_callback(
        "--quiet", [&] { session.console.set_quiet(true); }, "Warnings and errors alone");
    program.set_version_flag("--version", "talvora-host " TALVORA_VERSION,
                             "The version of the program (`version`: of the plug-in too)");
    program.add_flag_callback(
        "-v,--verbose",
        [&] {
            session.console.set_verbose(true);
            hdf5::print_error_stacks();
        },
        "Say more on what is done, and what the HDF5 library knows of a failure");
}

void add_commands(CLI::App& program, Session& session) {
    // Options of the program may stand behind the command too.
    program.fallthrough();
    program.require_subcommand(1);
    for (AddCommand* add_command : COMMANDS) {
        add_command(Command(program), session);
    }
}

std::vector<std::string> list_commands(const CLI::App& program) {
    std::vector<std::string> names;
    std::ranges::transform(visible_commands(program), std::back_inserter(names),
                           [](const CLI::App* command) { return command->get_name(); });
    return names;
}

Failure explain_usage(const CLI::App& program, const CLI::ParseError& error,
                      std::string_view first_word) {
    const std::vector<std::string> commands = list_commands(program);
    if (program.get_subcommands().empty() && !first_word.empty() && !first_word.starts_with('-')) {
        const auto nearest = find_nearest(first_word, commands);
        return {ExitCode::Usage,
                fmt::format("no command '{}'", first_word),
                {nearest ? fmt::format("did you mean '{}'?  talvora-host --help", *nearest)
                         : "list them: talvora-host --help"}};
    }
    const bool has_command = !program.get_subcommands().empty();
    return {ExitCode::Usage,
            error.what(),
            {fmt::format("talvora-host {}--help",
                         has_command ? program.get_subcommands().front()->get_name() + " " : "")}};
}

// The unit that the command is to run, where the words in front of --help name one.
std::vector<std::string> find_named_unit(const CLI::App& program) {
    for (const CLI::App* command : program.get_subcommands()) {
        if (command->get_name() == "run") {
            return command->get_option("UNIT")->results();
        }
    }
    return {};
}

void print_help(const CLI::App& program, Session& session, const CLI::CallForHelp& help) {
    for (const std::string& unit : find_named_unit(program)) {
        print_unit(session, session.find_unit(unit));
        session.console.result("");
    }
    std::fflush(stdout);
    program.exit(help);
}

ExitCode dispatch_command(int argument_count, char** arguments, Session& session) {
    CLI::App program("Runs the units of a signal-processing plug-in on HDF5 files.",
                     "talvora-host");
    set_help_layout(program);
    add_program_sections(program);
    add_shared_options(program, session);
    add_commands(program, session);
    try {
        program.parse(argument_count, arguments);
    } catch (const CLI::CallForHelp& help) {
        print_help(program, session, help);
    } catch (const CLI::Success& version) {
        program.exit(version);
    } catch (const CLI::ParseError& error) {
        throw explain_usage(program, error, argument_count > 1 ? arguments[1] : "");
    }
    finish_printing();
    return session.exit_code;
}

// Before the words are read: what is wrong with them is told so, too.
bool asks_for_json(std::span<char* const> words) {
    const auto end = std::ranges::find(words, std::string_view("--"));
    return std::find(words.begin(), end, std::string_view("--json")) != end;
}

} // namespace

ExitCode run_command_line(int argument_count, char** arguments) {
    Session session;
    session.console.set_json(
        asks_for_json(std::span(arguments, static_cast<std::size_t>(argument_count))));
    clean_up_on_signals();
    outlive_file_limit();
    try {
        hold_standard_streams();
        return dispatch_command(argument_count, arguments, session);
    } catch (const std::exception&) {
        return print_exception(session.console);
    }
}

} // namespace talvora::host
