// The rate of a data set, as people read it.
#pragma once

#include "host/data_tree.h"

#include <optional>

namespace talvora::host {

// The attribute in which data sets and groups carry their rate in Hz.
constexpr char SAMPLE_RATE_ATTRIBUTE[] = "SampleRate";

// Nothing when there is no rate, or none that is a real number.
std::optional<double> as_sample_rate(const std::optional<AttributeValue>& value);
std::optional<double> read_sample_rate(DataTree& tree, ObjectId object);

} // namespace talvora::host
