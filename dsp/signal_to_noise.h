// Mean and spread of a stretch of samples, in single precision.
#pragma once

#include <span>

namespace talvora::dsp {

// In all three, sums are taken in the order of Eigen's vectorised sum on SSE2: four
// lanes from the first 16-byte boundary on, and what is left over one by one. The
// last bit therefore depends on how the stretch lies in memory; give it 16-byte
// aligned for results that repeat. No allocation. `samples` is not empty.

float compute_mean(std::span<const float> samples);

// With n - 1 in the denominator; 0 for a single sample.
float compute_standard_deviation(std::span<const float> samples);

// Mean over standard deviation; infinite or NaN when nothing deviates. Where samples are NaN it is
// the first of these, quiet.
float compute_signal_to_noise(std::span<const float> samples);

} // namespace talvora::dsp
