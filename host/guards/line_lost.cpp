#include "host/filters/step_sources.h"
#include "host/guards/guard_functions.h"
#include "host/guards/set_lines.h"
#include "host/text/plural.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace talvora::host {
namespace {

std::string find_remedy(const SetObservation& set) {
    if (!std::isfinite(set.after.sample_rate.value_or(0.0))) {
        return "its SampleRate is no rate, and has to be one";
    }
    return set.before->missing_count > 0 ? "fill gaps first, or leave the set out"
                                         : "leave the set out";
}

std::vector<GuardFinding> find_in_set(const GuardedStep& step, const SetObservation& set,
                                      const SetGaps& gaps) {
    if (count_samples(set.before->extents) == 0) {
        return {};
    }
    const std::size_t axis = find_axis(step.step.values, set.after.extents);
    const SetLines before(set.before->extents, axis);
    const SetLines after(set.after.extents, axis);
    std::vector<std::uint64_t> lost;
    if (before.count() == after.count()) {
        std::ranges::set_difference(after.list_missing(*gaps.after),
                                    before.list_missing(*gaps.before), std::back_inserter(lost));
    }
    if (lost.empty()) {
        return {};
    }
    return {{.set = set.path,
             .text = fmt::format(
                 "of {} {} had valid samples and have none any more, the first is {}",
                 count_things(after.count(), "line"), lost.size(), after.name(lost.front())),
             .remedy = find_remedy(set),
             .numbers = {{"lost_lines", lost.size()},
                         {"lines", after.count()},
                         {"missing_before", set.before->missing_count},
                         {"missing_after", set.after.missing_count}}}};
}

} // namespace

std::vector<GuardFinding> find_lost_lines(const GuardedStep& step) {
    std::vector<GuardFinding> found;
    for (std::size_t i = 0; i < step.done->sets.size(); ++i) {
        const SetObservation& set = step.done->sets[i];
        if (set.written && set.before) {
            std::ranges::move(find_in_set(step, set, step.done->gaps[i]),
                              std::back_inserter(found));
        }
    }
    return found;
}

} // namespace talvora::host
