#include "dsp/signal_to_noise.h"

#include "dsp/made_samples.h"

#include <Eigen/Core>

#include <algorithm>
#include <cmath>

namespace talvora::dsp {

namespace {

auto map_vector(std::span<const float> samples) {
    return Eigen::Map<const Eigen::VectorXf>(samples.data(),
                                             static_cast<Eigen::Index>(samples.size()));
}

float sum_squared_deviations(std::span<const float> samples, float mean) {
    return (map_vector(samples).array() - mean).square().sum();
}

} // namespace

float compute_mean(std::span<const float> samples) {
    return map_vector(samples).sum() / static_cast<float>(samples.size());
}

float compute_standard_deviation(std::span<const float> samples) {
    if (samples.size() == 1) {
        return 0.0F;
    }
    const auto squares =
        static_cast<double>(sum_squared_deviations(samples, compute_mean(samples)));
    return static_cast<float>(std::sqrt(squares / (static_cast<double>(samples.size()) - 1.0)));
}

float compute_signal_to_noise(std::span<const float> samples) {
    const auto missing =
        std::ranges::find_if(samples, [](float sample) { return std::isnan(sample); });
    return missing != samples.end()
               ? quieted(*missing)
               : made_sample(compute_mean(samples) / compute_standard_deviation(samples));
}

} // namespace talvora::dsp
