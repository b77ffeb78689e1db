// Zero-phase filtering of one run by itself, its parts side by side.
#pragma once

#include "dsp/lane_scratch.h"
#include "dsp/run.h"
#include "dsp/zero_phase_filter.h"

#include <cstddef>

namespace talvora::dsp {

// Filters a run, longer than the filter's padding, with two taps or more, to the bits of
// zero_phase_filter.h.
//
// A recurrence has to be computed in order, but a stable filter forgets: started a
// warm-up early in any state, it comes to the very bits of the true one. So the run is
// cut into parts, one to a lane; each but the first starts from a guess a warm-up before
// its own begin. Where the state there is not, bit for bit, the one that the part before ended
// with, both are followed in order until they meet. Where they do not, and where a filter
// remembers for longer than a part, all that remains is filtered in order.
//
// A first forward pass finds the true state before each part and keeps nothing else; then,
// as many parts at a time as there are lanes, from the end of the run, the forward pass is computed
// again from there and the backward pass after it. A run that is too short for parts leaves all
// lanes but one empty.
//
// Nothing is written, and the result is false, when a run that was not searched holds a missing
// sample, or infinities that make a NaN.
template <class Sample>
bool filter_long_run(const Run<Sample>& run, const PreparedFilter& filter,
                     const LaneKernels<Sample>& kernels, LaneScratch& scratch,
                     Searched searched = Searched::Yes);

// Whether the parts of a run of so many samples fill so many lanes at little cost: they are much
// longer than their warm-ups, after which the guesses of such a filter are right. A filter of one
// tap needs none.
bool fills_lanes(std::size_t length, const PreparedFilter& filter, std::size_t lane_count);

} // namespace talvora::dsp
