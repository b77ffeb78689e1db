#include "host/filters/known_units.h"
#include "host/guards/guard_functions.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvora::host {
namespace {

// Of what was there before the step, and is not new.
std::uint64_t count_before(const StepObservations& done) {
    std::uint64_t count = 0;
    for (const SetGaps& gaps : done.gaps) {
        count += gaps.before ? gaps.before->infinite_count() : 0;
    }
    return count;
}

} // namespace

std::vector<GuardFinding> find_infinities(const GuardedStep& step) {
    const std::uint64_t of_all = count_before(*step.done);
    std::vector<GuardFinding> found;
    for (std::size_t i = 0; i < step.done->sets.size(); ++i) {
        const SetObservation& set = step.done->sets[i];
        const SetGaps& gaps = step.done->gaps[i];
        const std::uint64_t before = gaps.before ? gaps.before->infinite_count() : of_all;
        const std::uint64_t after = gaps.after->infinite_count();
        if (set.written && before == 0 && after > 0) {
            found.push_back(
                {.set = set.path,
                 .text = fmt::format("infinite samples: {} of {}, none before", after,
                                     count_samples(set.after.extents)),
                 .remedy = makes_filter(*step.step.unit)
                               ? fmt::format("a lower {} has more digits to spare", ORDER_KEY)
                               : "smaller values, in another unit of measurement, are finite",
                 .numbers = {{"infinite_before", before},
                             {"infinite_after", after},
                             {"samples", count_samples(set.after.extents)}}});
        }
    }
    return found;
}

} // namespace talvora::host
