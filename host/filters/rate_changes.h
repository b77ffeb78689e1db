// What a step makes of the time of its sets, found before it is run.
#pragma once

#include "host/recipes/recipe.h"
#include "host/tree/data_tree.h"

#include <cstdint>
#include <string>
#include <vector>

namespace talvora::host {

struct TimeBase {
    std::uint64_t sample_count = 0; // along the axis
    double rate = 0.0;              // Hz
};

struct RateChange {
    std::string path;
    TimeBase before;
    TimeBase after;
    std::uint64_t stride = 0; // one of so many samples is kept; 0 where that is not known
};

// Of a set that the unit leaves above the rate that others come down to.
struct KeptRate {
    std::string path;
    double rate = 0.0;
    double target = 0.0;
};

// Of the sets that the downsample unit will reduce, in its order; none for other units, and
// without a hint that it takes. The i-th set is scaled by the rate of set i / 2, as the unit does
// it; set by set each by its own.
std::vector<RateChange> find_rate_changes(const Step& step, DataTree& tree);

// Of the sets that it will leave though their own rates are above the target.
std::vector<KeptRate> find_kept_rates(const Step& step, DataTree& tree);

} // namespace talvora::host
