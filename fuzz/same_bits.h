// Equality to the last bit: a NaN equals itself, and 0 is not -0.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <variant>
#include <vector>

namespace talvora::fuzz {

template <typename T>
bool same_bits(const T& left, const T& right) {
    return left == right;
}

inline bool same_bits(float left, float right) {
    return std::bit_cast<std::uint32_t>(left) == std::bit_cast<std::uint32_t>(right);
}

inline bool same_bits(double left, double right) {
    return std::bit_cast<std::uint64_t>(left) == std::bit_cast<std::uint64_t>(right);
}

template <typename T>
bool same_bits(const std::vector<T>& left, const std::vector<T>& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](const T& one, const T& other) { return same_bits(one, other); });
}

template <typename... Types>
bool same_bits(const std::variant<Types...>& left, const std::variant<Types...>& right) {
    return left.index() == right.index() &&
           std::visit([&right]<typename T>(
                          const T& value) { return same_bits(value, std::get<T>(right)); },
                      left);
}

} // namespace talvora::fuzz
