#include "host/tree/set_statistics.h"

#include "host/tree/tree_rules.h"

#include <cmath>
#include <vector>

namespace talvora::host {

SetStatistics measure_samples(std::span<const float> samples) {
    SetStatistics statistics{.sample_count = samples.size()};
    double sum = 0;
    for (const float sample : samples) {
        const auto value = static_cast<double>(sample);
        if (std::isnan(value)) {
            ++statistics.missing_count;
            continue;
        }
        sum += value;
        // The first value comes in beside the NaN that both start as.
        statistics.min = std::fmin(statistics.min, value);
        statistics.max = std::fmax(statistics.max, value);
    }
    const std::uint64_t value_count = statistics.sample_count - statistics.missing_count;
    if (value_count > 0) {
        statistics.mean = sum / static_cast<double>(value_count);
    }
    return statistics;
}

SetStatistics measure_set(DataTree& tree, ObjectId set) {
    const Extents extents = tree.extents(set);
    std::vector<float> samples = make_sample_room<float>(extents, tree.path(set));
    const Extents starts(extents.size(), 0);
    tree.read(set, {.starts = starts, .counts = extents}, samples);
    return measure_samples(samples);
}

} // namespace talvora::host
