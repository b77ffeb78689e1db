// Zero-phase filtering of several runs at once, one to a lane of the processor's vector
// registers; the results are those of zero_phase_filter.h, bit for bit.
#pragma once

#include "dsp/lane_scratch.h"
#include "dsp/run.h"
#include "dsp/zero_phase_filter.h"

namespace talvora::dsp {

// Filters as many runs as there are lanes, or fewer, in the order of their lengths, the longest
// first, each longer than the filter's padding. The filter has two taps or more.
//
// The forward pass is kept in double for the backward pass. Runs longer than the
// scratch holds are cut into segments: a first forward pass keeps the state before
// each, then each segment, from the last to the first, is filtered forward again and
// backward.
//
// Nothing is written, and the result is false, when a run that was not searched holds a missing
// sample, or infinities that make a NaN. `next` may be filtered soon: short runs are asked
// of the memory while these are filtered.
template <class Sample>
bool run_group(Runs<Sample> runs, Runs<Sample> next, const PreparedFilter& filter,
               const LaneKernels<Sample>& kernels, LaneScratch& scratch,
               Searched searched = Searched::Yes);

} // namespace talvora::dsp
