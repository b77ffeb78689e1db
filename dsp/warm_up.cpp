#include "dsp/warm_up.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace talvora::dsp {

namespace {

// States become the same to the last bit later than the response to an impulse fades,
// when the last roundings fall alike: with this margin nine guesses in ten hold.
constexpr std::ptrdiff_t warm_up_for(std::ptrdiff_t faded_count) {
    return 5 * faded_count / 2 + 16;
}

double sum_of_magnitudes(const std::vector<double>& values) {
    return std::accumulate(values.begin(), values.end(), 0.0,
                           [](double sum, double value) { return sum + std::abs(value); });
}

std::vector<double> state_after_impulse(const PreparedFilter& filter) {
    std::vector<double> z;
    for (std::size_t i = 1; i < filter.tap_count(); ++i) {
        z.push_back(filter.b[i] - filter.a[i] * filter.b[0]);
    }
    return z;
}

void step_without_input(const PreparedFilter& filter, std::vector<double>& z) {
    const double y = z[0];
    for (std::size_t i = 0; i < z.size(); ++i) {
        const double next = i + 1 < z.size() ? z[i + 1] : 0.0;
        z[i] = next - filter.a[i + 1] * y;
    }
}

} // namespace

std::ptrdiff_t count_warm_up_samples(const PreparedFilter& filter, std::ptrdiff_t limit) {
    constexpr double FADED = 0x1p-53; // a rounding of the largest
    std::vector<double> z = state_after_impulse(filter);
    double largest = sum_of_magnitudes(z);
    for (std::ptrdiff_t sample_count = 0; warm_up_for(sample_count) < limit; ++sample_count) {
        const double left = sum_of_magnitudes(z);
        largest = std::max(largest, left);
        if (left < FADED * largest) {
            return warm_up_for(sample_count);
        }
        step_without_input(filter, z);
    }
    return limit;
}

} // namespace talvora::dsp
