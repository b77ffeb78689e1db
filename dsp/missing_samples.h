// How a sample that cannot be produced is written.
#pragma once

#include <bit>
#include <cstdint>
#include <span>

namespace talvora::dsp {

// The quiet NaN with its sign set. Any NaN read from a set marks a missing sample.
inline constexpr std::uint32_t MISSING_SAMPLE_BITS = 0xFFC00000U;
inline constexpr float MISSING_SAMPLE = std::bit_cast<float>(MISSING_SAMPLE_BITS);
inline constexpr std::uint64_t MISSING_DOUBLE_BITS = 0xFFF8000000000000U;
inline constexpr double MISSING_DOUBLE = std::bit_cast<double>(MISSING_DOUBLE_BITS);

// The one of a type of samples.
template <class Sample>
inline constexpr Sample MISSING_SAMPLE_OF = MISSING_SAMPLE;
template <>
inline constexpr double MISSING_SAMPLE_OF<double> = MISSING_DOUBLE;

void fill_missing(std::span<float> samples);
void fill_missing(std::span<double> samples);

} // namespace talvora::dsp
