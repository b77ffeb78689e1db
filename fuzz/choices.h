// Values picked by the bytes of an input.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <fuzzer/FuzzedDataProvider.h>
#include <span>

namespace talvora::fuzz {

// The bytes of one input, taken piece by piece. Exhausted input gives zeros.
using Choices = FuzzedDataProvider;

template <typename T, std::size_t COUNT>
const T& pick(Choices& choices, const T (&values)[COUNT]) {
    return values[choices.ConsumeIntegralInRange<std::size_t>(0, COUNT - 1)];
}

// True once in `count` on average.
inline bool one_in(Choices& choices, std::uint8_t count) {
    return choices.ConsumeIntegralInRange<std::uint8_t>(1, count) == count;
}

} // namespace talvora::fuzz
