// Equality to the last bit: a NaN equals itself, and 0 is not -0.
#pragma once

#include <cstddef>
#include <cstring>

namespace talvora::dsp {

template <class Value>
bool same_bits(const Value* left, const Value* right, std::size_t count) {
    return std::memcmp(left, right, count * sizeof(Value)) == 0;
}

} // namespace talvora::dsp
