// Tries whether a plug-in library keeps to the interface. Each check runs in a process of
// its own under a time limit: a crash or a hang is a result.
#pragma once

#include "host/validate/check.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

struct CheckResult {
    const Check* check = nullptr;
    Verdict verdict = Verdict::Pass;
    std::vector<std::string> findings; // a line each
};

struct ValidatorOptions {
    std::filesystem::path plugin;
    // The words that start a program which hands what follows, the id of a check, the file of
    // a plug-in and the words of the settings, to run_check_here.
    std::vector<std::string> self;
    std::string only = "*";                                     // a pattern over the ids
    std::chrono::milliseconds limit = std::chrono::seconds(60); // of each check
    CheckSettings settings;
};

// The checks whose ids match. A pattern is one of host/text/path_glob.h. Throws a Failure of usage
// when there is none.
std::vector<const Check*> select_checks(std::string_view only);

// A time limit as a user writes it, in seconds. Throws a Failure of usage that names
// `option` unless it is a number from 0.01 to 86400, the seconds of a day.
std::chrono::milliseconds read_time_limit(std::string_view option, std::string_view seconds);

// Runs them one after the other, handing on each result as it comes. What builds on a
// check that ran out of time is skipped. Works in a temporary folder that goes with it, also
// when a signal interrupts it (InterruptionsHeldBack); one that a killed process left
// is swept at the beginning. Throws a Failure when there is no such plug-in, no place for the
// folder or a limit of addresses too low for the guarded heap, and std::system_error when no
// process can be started.
std::vector<CheckResult> validate(const ValidatorOptions& options,
                                  const std::function<void(const CheckResult&)>& on_result);

// "41 checks: 40 pass, 1 skipped"
std::string summarise(const std::vector<CheckResult>& results);
bool all_good(const std::vector<CheckResult>& results);

// The child's side: runs the check on the library in this process, writes what it finds to
// standard output and ends the process. Returns for an unknown id alone, with the exit code
// that the process is to end with.
int run_check_here(const std::string& id, const std::filesystem::path& plugin,
                   const std::vector<std::string>& self, const CheckSettings& settings);

} // namespace talvora::host
