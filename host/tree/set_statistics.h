// What a data set holds, in a few numbers.
#pragma once

#include "host/tree/data_tree.h"

#include <cstdint>
#include <limits>
#include <variant>

namespace talvora::host {

// A sample as it is: of floats a double, of integers one of those that hold them.
using SampleValue = std::variant<double, std::int64_t, std::uint64_t>;

// NaN where no sample has a value.
struct SetStatistics {
    std::uint64_t sample_count = 0;
    std::uint64_t missing_count = 0; // NaN
    SampleValue least = std::numeric_limits<double>::quiet_NaN();
    SampleValue greatest = std::numeric_limits<double>::quiet_NaN();
    double mean = std::numeric_limits<double>::quiet_NaN(); // over the samples with a value
};

SetStatistics measure_samples(const StoredSamples& samples);

// As they are stored. Reads the whole set at once. Throws a TreeError where it cannot be read or is
// too large to be.
SetStatistics measure_set(DataTree& tree, ObjectId set);

} // namespace talvora::host
