// How a sample that cannot be produced is written.
#pragma once

#include <bit>
#include <cstdint>
#include <span>

namespace talvora::dsp {

// The quiet NaN with its sign set. Any NaN read from a set marks a missing sample.
inline constexpr std::uint32_t MISSING_SAMPLE_BITS = 0xFFC00000U;
inline constexpr float MISSING_SAMPLE = std::bit_cast<float>(MISSING_SAMPLE_BITS);

void fill_missing(std::span<float> samples);

} // namespace talvora::dsp
