#include "dsp/missing_samples.h"

#include <algorithm>

namespace talvora::dsp {

void fill_missing(std::span<float> samples) {
    std::ranges::fill(samples, MISSING_SAMPLE);
}

void fill_missing(std::span<double> samples) {
    std::ranges::fill(samples, MISSING_DOUBLE);
}

} // namespace talvora::dsp
