#include "host/guards/guard_functions.h"

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

} // namespace

std::vector<GuardFinding> find_stale_scales(const GuardedStep& step) {
    std::vector<GuardFinding> found;
    for (const SetObservation& set : step.done->sets) {
        const auto attached = step.scales.find(set.path);
        if (!set.before || attached == step.scales.end()) {
            continue;
        }
        for (const AttachedScale& scale : attached->second) {
            if (is_stale(scale, set.before->extents, set.after.extents)) {
                found.push_back(make_finding(set, scale));
            }
        }
    }
    return found;
}

} // namespace talvora::host
