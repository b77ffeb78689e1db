// Attributes that hold one number, as people read it.
#pragma once

#include "host/tree/data_tree.h"

#include <optional>
#include <string>

namespace talvora::host {

// The attribute in which data sets and groups carry their rate in Hz.
constexpr char SAMPLE_RATE_ATTRIBUTE[] = "SampleRate";
// And the time of sample 0, in seconds.
constexpr char START_TIME_ATTRIBUTE[] = "StartTime";

// A whole number, or a real one of either width; nothing for anything else.
std::optional<double> as_number(const std::optional<AttributeValue>& value);

// Nothing when there is no such attribute or it is no single number. Throws StorageError.
std::optional<double> read_number_attribute(DataTree& tree, ObjectId object,
                                            const std::string& name);

} // namespace talvora::host
