// talvora-validate PLUGIN [PATTERN [SECONDS]]: the validator alone, for machines that
// talvora-host is not built for. Exit codes are those of talvora-host: 0 when the plug-in
// keeps to the interface, 4 when it does not, 2 for a wrong command line, 5 when the report
// or temporary files cannot be written.
#include "host/system/standard_output.h"
#include "host/text/failure.h"
#include "host/validate/child_process.h"
#include "host/validate/validator.h"

#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

constexpr char CHILD_WORD[] = "--child";
constexpr char USAGE[] = "usage: talvora-validate PLUGIN [PATTERN [SECONDS]]\n"
                         "  PLUGIN   the library to try\n"
                         "  PATTERN  checks whose ids match, as in 'run.*' (else all)\n"
                         "  SECONDS  that each check may take (else 60)\n";

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

int validate_and_print(const std::vector<std::string>& words) {
    ValidatorOptions options;
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

int run(const std::vector<std::string>& words) {
    if (words.size() == 3 && words[0] == CHILD_WORD) {
        return run_check_here(words[1], words[2], {own_program(), CHILD_WORD});
    }
    const bool wants_help = words.size() == 1 && (words[0] == "--help" || words[0] == "-h");
    if (wants_help || words.empty() || words.size() > 3 || words[0].starts_with('-')) {
        fmt::print(wants_help ? stdout : stderr, "{}", USAGE);
        return exit_code(wants_help ? ExitCode::Done : ExitCode::Usage);
    }
    return validate_and_print(words);
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
        return EXIT_FAILURE;
    }
}
