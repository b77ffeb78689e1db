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
    std::optional<Sample> least;
    std::optional<Sample> greatest;
    double sum = 0;
    for (const Sample sample : samples) {
        if constexpr (std::is_floating_point_v<Sample>) {
            if (std::isnan(sample)) {
                ++statistics.missing_count;
                continue;
            }
        }
        sum += static_cast<double>(sample);
        least = least ? std::min(*least, sample) : sample;
        greatest = greatest ? std::max(*greatest, sample) : sample;
    }
    if (least) {
        statistics.least = static_cast<Value<Sample>>(*least);
        statistics.greatest = static_cast<Value<Sample>>(*greatest);
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
