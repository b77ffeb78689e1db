#include "host/guards/guard_functions.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

namespace talvora::host {
namespace {

bool is_stale(const AttachedScale& scale, const Extents& before, const Extents& after) {
    const std::size_t dimension = scale.dimension;
    return dimension < after.size() && before[dimension] != after[dimension] &&
           scale.value_count != after[dimension];
}

GuardFinding make_finding(const SetObservation& set, const AttachedScale& scale) {
    const std::uint64_t before = set.before->extents[scale.dimension];
    const std::uint64_t after = set.after.extents[scale.dimension];
    return {.set = set.path,
            .text = fmt::format("its dimension {} was resized from {} to {}, and the attached "
                                "dimension scale '{}' has {} values",
                                scale.dimension, before, after, scale.path, scale.value_count),
            .remedy = "detach the scale before, where the file was made",
            .numbers = {{"dimension", scale.dimension},
                        {"length_before", before},
                        {"length_after", after},
                        {"scale", scale.path},
                        {"scale_length", scale.value_count}}};
}

GuardFinding make_finding(const SetObservation& scale, std::uint64_t count,
                          const ScaledSet& scaled) {
    return {.set = scale.path,
            .text = fmt::format("it was resized and has {} values, and dimension {} of '{}', whose "
                                "dimension scale it is, has the length {}",
                                count, scaled.dimension, scaled.path, scaled.length),
            .remedy = "resize the sets that it is attached to as well, or detach it before, where "
                      "the file was made",
            .numbers = {{"scale_length", count},
                        {"set", scaled.path},
                        {"dimension", scaled.dimension},
                        {"length", scaled.length}}};
}

// What the set has attached to it.
void add_stale_scales(const GuardedStep& step, const SetObservation& set,
                      std::vector<GuardFinding>& found) {
    const auto attached = step.scales.find(set.path);
    if (attached == step.scales.end()) {
        return;
    }
    for (const AttachedScale& scale : attached->second) {
        if (is_stale(scale, set.before->extents, set.after.extents)) {
            found.push_back(make_finding(set, scale));
        }
    }
}

// What the set is attached to.
void add_left_sets(const GuardedStep& step, const SetObservation& scale,
                   std::vector<GuardFinding>& found) {
    const auto scaled_sets = step.scaled_sets.find(scale.path);
    if (scaled_sets == step.scaled_sets.end()) {
        return;
    }
    const std::uint64_t count = count_samples(scale.after.extents);
    for (const ScaledSet& scaled : scaled_sets->second) {
        if (scaled.length != count) {
            found.push_back(make_finding(scale, count, scaled));
        }
    }
}

} // namespace

std::vector<GuardFinding> find_stale_scales(const GuardedStep& step) {
    std::vector<GuardFinding> found;
    for (const SetObservation& set : step.done->sets) {
        if (set.before) {
            add_stale_scales(step, set, found);
            add_left_sets(step, set, found);
        }
    }
    return found;
}

} // namespace talvora::host
