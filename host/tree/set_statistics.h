// What a data set holds, in a few numbers.
#pragma once

#include "host/tree/data_tree.h"

#include <cstdint>
#include <limits>
#include <span>

namespace talvora::host {

// NaN where no sample has a value.
struct SetStatistics {
    std::uint64_t sample_count = 0;
    std::uint64_t missing_count = 0; // NaN
    double min = std::numeric_limits<double>::quiet_NaN();
    double max = std::numeric_limits<double>::quiet_NaN();
    double mean = std::numeric_limits<double>::quiet_NaN(); // over the samples with a value
};

SetStatistics measure_samples(std::span<const float> samples);

// Reads the whole set at once. Throws a TreeError where it cannot be read or is too large to be.
SetStatistics measure_set(DataTree& tree, ObjectId set);

} // namespace talvora::host
