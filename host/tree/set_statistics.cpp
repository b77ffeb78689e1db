#include "host/tree/set_statistics.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <span>
#include <type_traits>
#include <vector>

namespace talvora::host {

namespace {

template <typename Sample>
using Value =
    std::conditional_t<std::is_floating_point_v<Sample>, double,
                       std::conditional_t<std::is_signed_v<Sample>, std::int64_t, std::uint64_t>>;

template <typename Sample>
SetStatistics measure(std::span<const Sample> samples) {
    SetStatistics statistics{.sample_count = samples.size()};
    std::optional<Sample> min;
    std::optional<Sample> max;
    double sum = 0;
    for (const Sample sample : samples) {
        if constexpr (std::is_floating_point_v<Sample>) {
            if (std::isnan(sample)) {
                ++statistics.missing_count;
                continue;
            }
        }
        sum += static_cast<double>(sample);
        min = min ? std::min(*min, sample) : sample;
        max = max ? std::max(*max, sample) : sample;
    }
    if (min) {
        statistics.min = static_cast<Value<Sample>>(*min);
        statistics.max = static_cast<Value<Sample>>(*max);
        statistics.mean =
            sum / static_cast<double>(statistics.sample_count - statistics.missing_count);
    }
    return statistics;
}

} // namespace

SetStatistics measure_samples(const StoredSamples& samples) {
    return std::visit(
        []<typename Sample>(const std::vector<Sample>& stored) {
            return measure(std::span<const Sample>(stored));
        },
        samples);
}

SetStatistics measure_set(DataTree& tree, ObjectId set) {
    const Extents extents = tree.extents(set);
    const Extents starts(extents.size(), 0);
    return measure_samples(tree.read_stored(set, {.starts = starts, .counts = extents}));
}

} // namespace talvora::host
