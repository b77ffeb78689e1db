// Sets whose samples say where they stand, for tests that go over ranks and axes; bits of samples.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

namespace talvora::test_support {

inline constexpr std::uint32_t MISSING_BITS = 0xFFC0'0000;

inline std::uint32_t bits(float sample) {
    return std::bit_cast<std::uint32_t>(sample);
}

inline std::vector<std::uint32_t> as_bits(const std::vector<float>& samples) {
    std::vector<std::uint32_t> patterns;
    for (const float sample : samples) {
        patterns.push_back(bits(sample));
    }
    return patterns;
}

// 0, 1, 2, ...
inline std::vector<float> count_up(std::size_t count) {
    std::vector<float> samples(count);
    std::iota(samples.begin(), samples.end(), 0.0F);
    return samples;
}

// Extents of a set of the given rank, no two of them alike.
inline std::vector<std::uint64_t> make_extents(std::size_t rank) {
    const std::vector<std::uint64_t> extents = {2, 5, 3, 4};
    return {extents.begin(), extents.begin() + static_cast<std::ptrdiff_t>(rank)};
}

// value(line, position) for each sample of a set in row-major order, where `line`
// numbers the lines along the axis so that the last of the other dimensions varies
// fastest.
template <typename Value>
std::vector<float> make_samples(const std::vector<std::uint64_t>& extents, std::size_t axis,
                                Value&& value) {
    std::uint64_t inner = 1;
    std::uint64_t outer = 1;
    for (std::size_t k = 0; k < extents.size(); ++k) {
        (k < axis ? outer : inner) *= k == axis ? 1 : extents[k];
    }
    std::vector<float> samples;
    for (std::uint64_t o = 0; o < outer; ++o) {
        for (std::uint64_t position = 0; position < extents[axis]; ++position) {
            for (std::uint64_t i = 0; i < inner; ++i) {
                samples.push_back(value(o * inner + i, position));
            }
        }
    }
    return samples;
}

// Calls check(extents, axis) for every axis of ranks 1 to 4.
template <typename Check>
void for_every_axis(Check&& check) {
    for (std::size_t rank = 1; rank <= 4; ++rank) {
        for (std::size_t axis = 0; axis < rank; ++axis) {
            check(make_extents(rank), axis);
        }
    }
}

} // namespace talvora::test_support
