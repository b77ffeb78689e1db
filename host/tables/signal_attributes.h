// What data sets of imported samples tell of them, in attributes, and what their groups do.
#pragma once

#include "host/tree/data_tree.h"

#include <cstdint>
#include <string>
#include <vector>

namespace talvora::host {

struct SignalAttributes {
    double sample_rate = 0;          // Hz
    double start_time = 0;           // s
    std::vector<std::string> labels; // one for each component, or none
    std::vector<std::string> units;  // one for each component, or one for all; empty ones: unknown
};

// SampleRate, a float, StartTime, a double, Labels where there are any, and Unit (line_names.h):
// one text where all components share it, a list of them else.
void write_signal_attributes(DataTree& tree, ObjectId set, const SignalAttributes& attributes);

// SampleRate and NumSamples, floats, of a group whose sets are all alike.
void write_group_attributes(DataTree& tree, ObjectId group, double sample_rate,
                            std::uint64_t sample_count);

} // namespace talvora::host
