// A line of samples reduced to one value.
#pragma once

#include <span>

namespace talvora::dsp {

// The single-precision sum of the samples divided by their count. A NaN sample makes
// it NaN, and so do no samples and infinities of both signs; every such result is
// MISSING_SAMPLE. The additions are made in an order that depends on the count alone
// (32 interleaved partial sums, combined pairwise), so the bits are the same on every
// processor. One pass, nothing allocated.
float mean(std::span<const float> samples);

// The greatest sample, NaN taking no part; MISSING_SAMPLE when there is nothing but
// NaN. Of equal samples the first is taken, so that of zeros of both signs the first
// decides the sign. One pass, and a second one up to the first such sample when the
// result is zero, negative infinity or missing; nothing allocated.
float maximum(std::span<const float> samples);

} // namespace talvora::dsp
