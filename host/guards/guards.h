// Guards: conditions that would make the result of a step mislead.
//
// Each has a name, is looked for before the result is published, and refuses it unless the step
// accepts it by that name. docs/guards.md tells of them for users; guards.cpp has their table.
//
// A new one is a function of guard_functions.h with a row in the table, a row in docs/guards.md
// and a test. Where no function can look, because the condition shows in the middle of the work,
// a GuardFailure (host/text/failure.h) thrown from there does the same, but cannot be accepted:
// who throws it asks accepts_guard() first.
#pragma once

#include "host/guards/guard_finding.h"
#include "host/guards/guarded_step.h"

#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// When a guard looks: the earlier the better, for all that comes later takes time.
enum class GuardTime {
    BeforeSamples, // what parameters and attributes tell
    AfterStep,     // what the step did
};

// In the order of the table.
std::vector<std::string> list_guards();

// One sentence: what the guard speaks of. Empty for a name that is none.
std::string_view describe_guard(std::string_view name);

// What the guards that look at this time find, in the order of the table, with names and whether
// the step accepts it filled in.
std::vector<GuardFinding> find_guarded(const GuardedStep& step, GuardTime time);

} // namespace talvora::host
