// Samples in a few numbers: the least, the greatest, and in double precision their sum and that of
// their squares.
#pragma once

#include <limits>
#include <span>

namespace talvora::host {

// Missing samples are neither the least nor the greatest, and make the sums NaN.
struct LineSummary {
    double sum = 0;
    float least = std::numeric_limits<float>::infinity();
    float greatest = -std::numeric_limits<float>::infinity();
    double squares = 0;

    void add(float sample) {
        const auto value = static_cast<double>(sample);
        sum += value;
        squares += value * value;
        least = sample < least ? sample : least;
        greatest = sample > greatest ? sample : greatest;
    }
    void add(const LineSummary& other);
    // Costs little more than reading them.
    void add(std::span<const float> samples);
};

} // namespace talvora::host
