// The columns of the set in which a step gathers the means of its sources.
#pragma once

#include "host/guards/guarded_step.h"

#include <string>
#include <vector>

namespace talvora::host {

struct MeanColumn {
    ObjectId source;
    std::string label;
};

// In their order, before the step or after it; none for a step that gathers none.
std::vector<MeanColumn> list_mean_columns(const GuardedStep& step);

} // namespace talvora::host
