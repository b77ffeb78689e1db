// Samples of other types as 32-bit floats.
#pragma once

#include <cstdint>
#include <limits>
#include <span>

namespace talvora::host {

// What rounding changed, among finite samples.
struct RoundingChange {
    double largest_change = 0; // infinite where a sample is beyond every 32-bit float
    double largest_sample = 0; // its magnitude, before
    double least = std::numeric_limits<double>::infinity();
    double greatest = -std::numeric_limits<double>::infinity();
    // Of the largest sample: a range of no more is no signal. Samples of 64-bit floats have such
    // last digits of a calculation, as in a channel that nothing is connected to; integers have
    // none.
    double last_digits = 0;

    void add(const RoundingChange& other);
    // The largest change as a part of what lies between the least and the greatest sample; 0 where
    // they stand still.
    double part_of_range() const;
};

// A signal that loses more of its range than that has lost digits that recordings have: it is less
// than a step of a converter of 13 bits.
constexpr double LARGE_PART_OF_RANGE = 1e-4;

// Gives each sample as the nearest 32-bit float, of two that are as near the one whose last bit is
// 0, rounding once. Both spans are of one size; for float, double, int32, int64 and uint64.
template <typename Stored>
RoundingChange round_samples(std::span<const Stored> stored, std::span<float> rounded);

} // namespace talvora::host
