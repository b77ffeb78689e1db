#include "host/filters/known_units.h"
#include "host/guards/guard_functions.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>

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

struct Infinities {
    std::uint64_t before = 0;
    std::uint64_t after = 0;
    std::uint64_t newly_missing = 0;
};

// Infinite samples make others so, or missing: those of one line or run go into each of its
// results.
bool spread(const Infinities& infinities) {
    return infinities.before == 0 ? infinities.after > 0
                                  : infinities.after > infinities.before ||
                                        infinities.newly_missing > infinities.before;
}

std::string describe(const Infinities& infinities, std::uint64_t sample_count) {
    std::string text =
        fmt::format("infinite samples: {} of {}, {} before", infinities.after, sample_count,
                    infinities.before == 0 ? "none" : std::to_string(infinities.before));
    if (infinities.before > 0 && infinities.newly_missing > 0) {
        text += fmt::format("; {} more are missing", infinities.newly_missing);
    }
    return text;
}

std::string find_remedy(const Infinities& infinities, const Step& step) {
    if (infinities.before > 0) {
        return "what is infinite is to be missing, NaN, where the file is made";
    }
    return makes_filter(*step.unit) ? fmt::format("a lower {} has more digits to spare", ORDER_KEY)
                                    : "smaller values, in another unit of measurement, are finite";
}

// A set that the step made has those of its sources, however many they became.
bool has_those_of_sources(const SetGaps& gaps, std::uint64_t of_all) {
    return !gaps.before && of_all > 0;
}

Infinities count_infinities(const SetObservation& set, const SetGaps& gaps) {
    if (!gaps.before) {
        return {.after = gaps.after->infinite_count()};
    }
    return {.before = gaps.before->infinite_count(),
            .after = gaps.after->infinite_count(),
            .newly_missing = set.after.missing_count -
                             std::min(set.after.missing_count, set.before->missing_count)};
}

} // namespace

std::vector<GuardFinding> find_infinities(const GuardedStep& step) {
    const std::uint64_t of_all = count_before(*step.done);
    std::vector<GuardFinding> found;
    for (std::size_t i = 0; i < step.done->sets.size(); ++i) {
        const SetObservation& set = step.done->sets[i];
        const SetGaps& gaps = step.done->gaps[i];
        const Infinities infinities = count_infinities(set, gaps);
        if (set.written && !has_those_of_sources(gaps, of_all) && spread(infinities)) {
            const std::uint64_t sample_count = count_samples(set.after.extents);
            found.push_back({.set = set.path,
                             .text = describe(infinities, sample_count),
                             .remedy = find_remedy(infinities, step.step),
                             .numbers = {{"infinite_before", infinities.before},
                                         {"infinite_after", infinities.after},
                                         {"samples", sample_count}}});
        }
    }
    return found;
}

} // namespace talvora::host
