// Order statistics of a few samples.
#pragma once

#include <span>

namespace talvora::dsp {

// The value below which `percent` per cent of the values lie. The i-th smallest of N,
// counted from 0, stands at (i + 0.5) * 100 / N per cent; in between is interpolated
// linearly, outside the smallest and the largest value hold (R. J. Hyndman, Y. Fan,
// Sample Quantiles in Statistical Packages, 1996, definition 5). 50 per cent is the
// median.
//
// `values` is not empty and `percent` lies in [0, 100]. NaNs are not set apart: the
// values are sorted as if they were numbers, and the result then depends on where the
// NaNs stand; of two between which it lies it is the lower one. Allocates a copy of the values.
float percentile(std::span<const float> values, float percent);

} // namespace talvora::dsp
