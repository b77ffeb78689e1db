// What is right about a step, and may not be what one thinks. A warning refuses nothing.
#pragma once

#include "host/guards/guarded_step.h"
#include "host/guards/guards.h"

#include <string>
#include <vector>

namespace talvora::host {

struct StepWarning {
    std::string text; // with the set that it is about, where it is about one
    std::string hint; // what to type instead
};

// Before samples: an axis without components, or components without an axis, where a unit takes
// both, a label of several columns, and attributes that tell of scale, offset or a number for
// missing samples. After the step: a baseline taken from samples of which some are missing, runs of
// valid samples that were too short for the filter, infinities that go into means, and missing
// samples in sets that the step made.
std::vector<StepWarning> find_warnings(const GuardedStep& step, GuardTime time);

} // namespace talvora::host
