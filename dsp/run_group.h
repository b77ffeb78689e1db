// Zero-phase filtering of several runs at once, one to a lane of the processor's vector
// registers; the results are those of zero_phase_filter.h, bit for bit.
#pragma once

#include "dsp/lane_scratch.h"
#include "dsp/zero_phase_filter.h"

#include <span>

namespace talvora::dsp {

// Runs in the order of their lengths, the longest first.
using Runs = std::span<const std::span<float>>;

// Filters in place as many runs as there are lanes, or fewer, each of at least 3 * tap_count - 1
// samples. The filter has two taps or more.
//
// The forward pass is kept in double for the backward pass. Runs longer than the
// scratch holds are cut into segments: a first forward pass keeps the state before
// each, then each segment, from the last to the first, is filtered forward again and
// backward.
//
// Runs that were not searched are left as they are, and the result is false, when one holds a
// missing sample, or infinities that make a NaN. `next` may be filtered soon: short runs are asked
// of the memory while these are filtered.
bool run_group(Runs runs, Runs next, const PreparedFilter& filter,
               const LaneKernels<float>& kernels, LaneScratch& scratch,
               Searched searched = Searched::Yes);

} // namespace talvora::dsp
