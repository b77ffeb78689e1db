// One step of the recurrence in direct form II transposed (Oppenheim and Schafer,
// "Discrete-Time Signal Processing", section 6.3).
#pragma once

#include <span>

namespace talvora::dsp {

// Takes a sample, gives one, and leaves the state after it in `z`, for b and a of one length with
// a[0] = 1. All that filters does so in this order of products and sums.
inline double filter_sample(std::span<const double> b, std::span<const double> a,
                            std::span<double> z, double x) {
    const std::size_t last = b.size() - 1;
    if (last == 0) {
        return b[0] * x;
    }
    const double y = b[0] * x + z[0];
    for (std::size_t i = 0; i + 1 < last; ++i) {
        z[i] = z[i + 1] + b[i + 1] * x - a[i + 1] * y;
    }
    z[last - 1] = b[last] * x - a[last] * y;
    return y;
}

} // namespace talvora::dsp
