#include "fuzz/signals.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace talvora::fuzz {

namespace {

constexpr float NO_FLOAT = std::numeric_limits<float>::quiet_NaN();
constexpr float INFINITE_FLOAT = std::numeric_limits<float>::infinity();
constexpr float SAMPLES[] = {0.0F,   -0.0F,   1.0F,           -1.0F,           0.5F,  1e30F,
                             1e-40F, 3.4e38F, INFINITE_FLOAT, -INFINITE_FLOAT, -2.5F, NO_FLOAT};

// A slow oscillation with a little of everything else in it; no two periods are alike.
void fill_with_wave(std::vector<float>& samples, std::uint8_t shape) {
    std::uint32_t state = shape + 1U;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        state = state * 1664525U + 1013904223U;
        samples[i] = std::sin(static_cast<float>(i) * 0.07F) * 10.0F +
                     static_cast<float>(state >> 20U) / 4096.0F;
    }
}

// Pieces of the set are overwritten, most often with missing samples.
void scatter_pieces(Choices& choices, std::vector<float>& samples) {
    const auto piece_count = choices.ConsumeIntegralInRange<int>(0, 6);
    for (int i = 0; i < piece_count; ++i) {
        const auto start = choices.ConsumeIntegralInRange<std::size_t>(0, samples.size() - 1);
        const auto length = choices.ConsumeIntegralInRange<std::size_t>(0, 40);
        const float value = choices.ConsumeBool() ? NO_FLOAT : make_float(choices);
        const auto begin = samples.begin() + static_cast<std::ptrdiff_t>(start);
        std::fill_n(begin, std::min(length, samples.size() - start), value);
    }
}

} // namespace

float make_float(Choices& choices) {
    return choices.ConsumeBool() ? pick(choices, SAMPLES)
                                 : static_cast<float>(choices.ConsumeIntegral<std::int16_t>());
}

std::vector<float> make_samples(Choices& choices, std::size_t count) {
    std::vector<float> samples(count);
    if (count == 0) {
        return samples;
    }
    if (choices.ConsumeBool()) {
        fill_with_wave(samples, choices.ConsumeIntegral<std::uint8_t>());
    } else {
        std::fill(samples.begin(), samples.end(), make_float(choices));
    }
    scatter_pieces(choices, samples);
    return samples;
}

} // namespace talvora::fuzz
