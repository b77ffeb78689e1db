// Values picked by the bytes of an input.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <fuzzer/FuzzedDataProvider.h>
#include <span>
#include <vector>

namespace talvora::fuzz {

// The bytes of one input, taken piece by piece. Exhausted input gives zeros.
using Choices = FuzzedDataProvider;

template <typename T, std::size_t COUNT>
const T& pick(Choices& choices, const T (&values)[COUNT]) {
    return values[choices.ConsumeIntegralInRange<std::size_t>(0, COUNT - 1)];
}

// Extents out of those given; one that would make more than `most_samples` becomes 1.
template <std::size_t COUNT>
std::vector<std::uint64_t> pick_extents(Choices& choices, std::size_t rank,
                                        const std::uint64_t (&candidates)[COUNT],
                                        std::uint64_t most_samples) {
    std::vector<std::uint64_t> extents(rank);
    std::uint64_t sample_count = 1;
    for (std::uint64_t& extent : extents) {
        extent = pick(choices, candidates);
        extent = sample_count * extent > most_samples ? 1 : extent;
        sample_count *= std::max<std::uint64_t>(extent, 1);
    }
    return extents;
}

// True once in `count` on average.
inline bool one_in(Choices& choices, std::uint8_t count) {
    return choices.ConsumeIntegralInRange<std::uint8_t>(1, count) == count;
}

} // namespace talvora::fuzz
