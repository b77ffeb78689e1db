// Floating-point values as integers, defined for every value: the built-in conversion
// is undefined for NaN and for what does not fit.
#pragma once

#include <cstdint>
#include <limits>

namespace talvora::dsp {

// Truncated towards zero; NaN and whatever does not fit become the smallest integer.
inline std::int64_t to_int64(double value) {
    constexpr double LIMIT = 0x1p63;
    const bool fits = value >= -LIMIT && value < LIMIT;
    return fits ? static_cast<std::int64_t>(value) : std::numeric_limits<std::int64_t>::min();
}

// Truncated towards zero; NaN and whatever does not fit become the largest integer,
// which is longer than any line.
inline std::uint64_t to_uint64(double value) {
    const bool fits = value > -1.0 && value < 0x1p64;
    return fits ? static_cast<std::uint64_t>(value) : std::numeric_limits<std::uint64_t>::max();
}

} // namespace talvora::dsp
