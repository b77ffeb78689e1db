// Zero-phase filtering of several runs at once, one to a lane of the processor's vector
// registers; the results are those of zero_phase_filter.h, bit for bit.
#pragma once

#include "dsp/lane_pass.h"

#include <span>

namespace talvora::dsp {

// Filters one to MAX_LANE_COUNT runs in place: the longest first, each of at least
// 3 * tap_count - 1 samples. The filter has two taps or more.
//
// The forward pass is kept in double for the backward pass. Runs longer than the
// scratch holds are cut into segments: a first forward pass keeps the state before
// each, then each segment, from the last to the first, is filtered forward again and
// backward.
//
// Runs that were not searched are left as they are, and the result is false, when one holds a
// missing sample, or infinities that make a NaN.
bool filter_side_by_side(std::span<const std::span<float>> runs, const PreparedFilter& filter,
                         const LaneKernels& kernels, LaneScratch& scratch,
                         Searched searched = Searched::Yes);

} // namespace talvora::dsp
