// talvora-host validate [PLUGIN] [--list] [--only PATTERN] [--level quick|deep] [--seed N]
//     [--json] [--timeout SECONDS]
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/text/align_columns.h"
#include "host/validate/child_process.h"
#include "host/validate/validator.h"

#include <fmt/format.h>

#include <memory>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

struct ValidateOptions {
    std::string plugin;
    std::string only = "*";
    std::string seconds = "60";
    std::string level = name_of(Level::Deep);
    std::string seed; // empty: any
    bool json = false;
    bool list = false;
    std::string child; // the id of the check that this process is to run
};

std::vector<std::string> child_words() {
    return {own_program(), "validate", "--child"};
}

CheckSettings read_settings(const ValidateOptions& options) {
    return {read_level(LEVEL_OPTION, options.level),
            options.seed.empty() ? make_seed() : read_seed(SEED_OPTION, options.seed)};
}

ValidatorOptions make_options(Session& session, const ValidateOptions& options) {
    if (!options.plugin.empty()) {
        session.plugin_option = options.plugin;
    }
    ValidatorOptions made;
    made.plugin = session.plugin_file();
    made.self = child_words();
    made.only = options.only;
    made.limit = read_time_limit("--timeout", options.seconds);
    made.settings = read_settings(options);
    return made;
}

void print_checks(const Console& console, const ValidateOptions& options) {
    std::vector<std::vector<std::string>> rows;
    auto list = nlohmann::ordered_json::array();
    for (const Check* check : select_checks(options.only)) {
        rows.push_back({std::string(check->id), std::string(check->description)});
        list.push_back({{"id", check->id}, {"description", check->description}});
    }
    if (options.json) {
        return console.document(list);
    }
    for (const std::string& line : align_columns(rows, {false, false})) {
        console.result(line);
    }
}

void print_result(const Console& console, const CheckResult& result) {
    console.result(fmt::format("{:<9} {:<24} {}", name_of(result.verdict), result.check->id,
                               result.check->description));
    for (const std::string& finding : result.findings) {
        console.result("          " + finding);
    }
}

void print_json(const Console& console, const ValidatorOptions& options,
                const std::vector<CheckResult>& results) {
    auto list = nlohmann::ordered_json::array();
    for (const CheckResult& result : results) {
        list.push_back({{"id", result.check->id},
                        {"description", result.check->description},
                        {"result", name_of(result.verdict)},
                        {"findings", result.findings}});
    }
    console.document({{"plugin", options.plugin.string()},
                      {"level", name_of(options.settings.level)},
                      {"seed", options.settings.seed},
                      {"good", all_good(results)},
                      {"summary", summarise(results)},
                      {"checks", list}});
}

void validate_plugin(Session& session, const ValidateOptions& options) {
    select_checks(options.only); // what is wrong with the words is said first
    const ValidatorOptions validator = make_options(session, options);
    const auto results = validate(validator, [&](const CheckResult& result) {
        if (!options.json) {
            print_result(session.console, result);
        }
    });
    if (options.json) {
        print_json(session.console, validator, results);
    } else {
        session.console.result(
            fmt::format("{}: {}", validator.plugin.string(), summarise(results)));
    }
    session.exit_code = all_good(results) ? ExitCode::Done : ExitCode::Plugin;
}

void run_command(Session& session, const ValidateOptions& options) {
    if (!options.child.empty()) {
        session.exit_code = ExitCode{
            run_check_here(options.child, options.plugin, child_words(), read_settings(options))};
    } else if (options.list) {
        print_checks(session.console, options);
    } else {
        validate_plugin(session, options);
    }
}

} // namespace

void add_validate_command(Command program, Session& session) {
    const auto options = std::make_shared<ValidateOptions>();
    Command command =
        program.add_subcommand("validate", "Does a plug-in library keep to the interface");
    command.add_option("PLUGIN", options->plugin, "The library (else the one of --plugin)").path();
    command.add_flag("--list", options->list, "The checks, without running them");
    command.add_option("--only", options->only, "Checks whose ids match, as in 'run.*'")
        .value_name("PATTERN");
    command
        .add_option(LEVEL_OPTION, options->level,
                    "quick: a part of each check, in seconds; deep: all")
        .value_name("LEVEL")
        .show_default();
    command.add_option(SEED_OPTION, options->seed, "What the made-up inputs begin with (else any)")
        .value_name("N");
    command.add_flag("--json", options->json, "One JSON document");
    command.add_option("--timeout", options->seconds, "Seconds that each check may take")
        .value_name("S")
        .show_default();
    command.add_option("--child", options->child).hide(); // started by this program alone
    add_examples(
        command,
        {{"Every check, each in a process of its own", "talvora-host validate ./plugin.so"},
         {"Those of one area", "talvora-host validate ./plugin.so --only 'run.*'"},
         {"A part of each check, in seconds", "talvora-host validate ./plugin.so --level quick"}});
    command.on_run([&session, options] { run_command(session, *options); });
}

} // namespace talvora::host
