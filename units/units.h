// The operations of the nine callable units, in alphabetical order. How a host calls
// them, and what they return, stands with declare_operation and run_operation in
// plugin/plugin_api.h.
#pragma once

#include "plugin/host_interfaces.h"

#include <cstdint>

namespace talvora::units {

// The mean of each source set along an axis, as a set of the same name elsewhere.
std::uint64_t declare_average_set(call_context* ctx, get_interface_function get_interface);
bool run_average_set(call_context* ctx, get_interface_function get_interface);

// The means of many sets, a labelled column for each, gathered into one set.
std::uint64_t declare_average_set_2(call_context* ctx, get_interface_function get_interface);
bool run_average_set_2(call_context* ctx, get_interface_function get_interface);

// Takes the median of its first samples off each line.
std::uint64_t declare_baseline_offset(call_context* ctx, get_interface_function get_interface);
bool run_baseline_offset(call_context* ctx, get_interface_function get_interface);

// Zero-lag Butterworth filtering.
std::uint64_t declare_butterworth(call_context* ctx, get_interface_function get_interface);
bool run_butterworth(call_context* ctx, get_interface_function get_interface);

// Keeps every k-th sample, to come near a hinted sample rate.
std::uint64_t declare_downsample(call_context* ctx, get_interface_function get_interface);
bool run_downsample(call_context* ctx, get_interface_function get_interface);

// Fills stretches of missing samples by linear interpolation.
std::uint64_t declare_fill_gap(call_context* ctx, get_interface_function get_interface);
bool run_fill_gap(call_context* ctx, get_interface_function get_interface);

// The greatest sample of each component, as a feature set.
std::uint64_t declare_maximum_extrema(call_context* ctx, get_interface_function get_interface);
bool run_maximum_extrema(call_context* ctx, get_interface_function get_interface);

// Changes the sign of whole sets or of chosen components.
std::uint64_t declare_opposite(call_context* ctx, get_interface_function get_interface);
bool run_opposite(call_context* ctx, get_interface_function get_interface);

// Takes absolute values.
std::uint64_t declare_rectify(call_context* ctx, get_interface_function get_interface);
bool run_rectify(call_context* ctx, get_interface_function get_interface);

} // namespace talvora::units
