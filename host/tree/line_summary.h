// Samples in a few numbers: the least, the greatest, and their sum in double precision.
#pragma once

#include <limits>
#include <span>

namespace talvora::host {

// Missing samples are neither the least nor the greatest, and make the sum NaN.
struct LineSummary {
    double sum = 0;
    float least = std::numeric_limits<float>::infinity();
    float greatest = -std::numeric_limits<float>::infinity();

    void add(float sample) {
        sum += static_cast<double>(sample);
        least = sample < least ? sample : least;
        greatest = sample > greatest ? sample : greatest;
    }
    void add(const LineSummary& other);
    // Costs little more than reading them.
    void add(std::span<const float> samples);
};

} // namespace talvora::host
