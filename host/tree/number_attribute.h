// Attributes that hold one value; numbers as people read them.
#pragma once

#include "host/tree/data_tree.h"

#include <optional>
#include <string>

namespace talvora::host {

// The attribute in which data sets and groups carry their rate in Hz.
constexpr char SAMPLE_RATE_ATTRIBUTE[] = "SampleRate";
// And the time of sample 0, in seconds.
constexpr char START_TIME_ATTRIBUTE[] = "StartTime";

// Files from elsewhere often hold a single value as an array of one: that value. Anything else as
// it is.
AttributeValue unwrap(const AttributeValue& value);

// A whole number, or a real one of either width, alone or in an array of one; nothing for anything
// else.
std::optional<double> as_number(const std::optional<AttributeValue>& value);

// Nothing when there is no such attribute or it is no single number. Throws StorageError.
std::optional<double> read_number_attribute(DataTree& tree, ObjectId object,
                                            const std::string& name);

} // namespace talvora::host
