// talvora-validate PLUGIN [PATTERN [SECONDS]]: the validator alone, for machines that
// talvora-host is not built for. Exit code 0 when the plug-in keeps to the interface, 4
// when it does not, 2 for a wrong command line.
#include "host/failure.h"
#include "host/validate/child_process.h"
#include "host/validate/validator.h"

#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace talvora::host {
namespace {

constexpr char CHILD_WORD[] = "--child";

int exit_code(ExitCode code) {
    return static_cast<int>(code);
}

void print_result(const CheckResult& result) {
    fmt::print("{:<9} {}\n", name_of(result.verdict), result.check->id);
    for (const std::string& finding : result.findings)
        fmt::print("          {}\n", finding);
    std::fflush(stdout);
}

int validate_and_print(const std::vector<std::string>& words) {
    ValidatorOptions options;
    options.plugin = words.at(0);
    options.self = {own_program(), CHILD_WORD};
    if (words.size() > 1)
        options.only = words[1];
    if (words.size() > 2)
        options.limit = std::chrono::seconds(std::strtoul(words[2].c_str(), nullptr, 10));
    const auto results = validate(options, print_result);
    fmt::print("{}\n", summarise(results));
    return exit_code(all_good(results) ? ExitCode::Done : ExitCode::Plugin);
}

int run(const std::vector<std::string>& words) {
    if (words.size() == 3 && words[0] == CHILD_WORD)
        return run_check_here(words[1], words[2], {own_program(), CHILD_WORD});
    if (words.empty() || words.size() > 3) {
        fmt::print(stderr, "usage: talvora-validate PLUGIN [PATTERN [SECONDS]]\n");
        return exit_code(ExitCode::Usage);
    }
    return validate_and_print(words);
}

} // namespace
} // namespace talvora::host

int main(int argument_count, char** arguments) {
    try {
        return talvora::host::run({arguments + 1, arguments + argument_count});
    } catch (const std::exception& error) {
        fmt::print(stderr, "error: {}\n", error.what());
        return EXIT_FAILURE;
    }
}
