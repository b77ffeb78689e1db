// talvora-validate PLUGIN [PATTERN [SECONDS]] [--level quick|deep] [--seed N]: the validator alone,
// for machines that talvora-host is not built for. Exit codes are those of talvora-host: 0 when the
// plug-in keeps to the interface, 4 when it does not, 2 for a wrong command line, 5 when the report
// or temporary files cannot be written or no process can be started.
#include "host/system/standard_output.h"
#include "host/text/failure.h"
#include "host/validate/child_process.h"
#include "host/validate/validator.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {
namespace {

constexpr char CHILD_WORD[] = "--child";
constexpr char USAGE[] = "usage: talvora-validate PLUGIN [PATTERN [SECONDS]]\n"
                         "  PLUGIN   the library to try\n"
                         "  PATTERN  checks whose ids match, as in 'run.*' (else all)\n"
                         "  SECONDS  that each check may take (else 60)\n"
                         "  --level quick  a part of each check, in seconds (else deep)\n"
                         "  --seed N       what the made-up inputs begin with (else any)\n";

int exit_code(ExitCode code) {
    return static_cast<int>(code);
}

void print_result(const CheckResult& result) {
    fmt::print("{:<9} {}\n", name_of(result.verdict), result.check->id);
    for (const std::string& finding : result.findings) {
        fmt::print("          {}\n", finding);
    }
    std::fflush(stdout);
}

// The word behind an option, taken out with it.
std::optional<std::string> take_option(std::vector<std::string>& words, std::string_view name) {
    const auto at = std::ranges::find(words, name);
    if (at == words.end() || at + 1 == words.end()) {
        return std::nullopt;
    }
    const std::string value = at[1];
    words.erase(at, at + 2);
    return value;
}

CheckSettings take_settings(std::vector<std::string>& words) {
    CheckSettings settings{Level::Deep, make_seed()};
    if (const auto level = take_option(words, LEVEL_OPTION)) {
        settings.level = read_level(LEVEL_OPTION, *level);
    }
    if (const auto seed = take_option(words, SEED_OPTION)) {
        settings.seed = read_seed(SEED_OPTION, *seed);
    }
    return settings;
}

int validate_and_print(const std::vector<std::string>& words, const CheckSettings& settings) {
    ValidatorOptions options;
    options.settings = settings;
    options.plugin = words.at(0);
    options.self = {own_program(), CHILD_WORD};
    if (words.size() > 1) {
        options.only = words[1];
    }
    if (words.size() > 2) {
        options.limit = read_time_limit("SECONDS", words[2]);
    }
    const auto results = validate(options, print_result);
    fmt::print("{}\n", summarise(results));
    return exit_code(all_good(results) ? ExitCode::Done : ExitCode::Plugin);
}

int run(std::vector<std::string> words) {
    const CheckSettings settings = take_settings(words);
    if (words.size() == 3 && words[0] == CHILD_WORD) {
        return run_check_here(words[1], words[2], {own_program(), CHILD_WORD}, settings);
    }
    const bool wants_help = words.size() == 1 && (words[0] == "--help" || words[0] == "-h");
    if (wants_help || words.empty() || words.size() > 3 || words[0].starts_with('-')) {
        fmt::print(wants_help ? stdout : stderr, "{}", USAGE);
        return exit_code(wants_help ? ExitCode::Done : ExitCode::Usage);
    }
    return validate_and_print(words, settings);
}

int run_and_finish(const std::vector<std::string>& words) {
    const int code = run(words);
    finish_standard_output();
    return code;
}

} // namespace
} // namespace talvora::host

int main(int argument_count, char** arguments) {
    try {
        return talvora::host::run_and_finish({arguments + 1, arguments + argument_count});
    } catch (const talvora::host::Failure& failure) {
        fmt::print(stderr, "error: {}\n", failure.what());
        for (const std::string& hint : failure.hints()) {
            fmt::print(stderr, "hint: {}\n", hint);
        }
        return talvora::host::exit_code(failure.code());
    } catch (const std::exception& error) {
        fmt::print(stderr, "error: {}\n", error.what());
        return talvora::host::exit_code(talvora::host::ExitCode::Output);
    }
}
