// A dimension scale: a data set that tells where along a dimension of another one its samples
// stand, such as their times.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace talvora::host {

// Attributes that attach scales to sets: of a set the scales of each of its dimensions, of a scale
// the sets.
constexpr std::string_view DIMENSION_LIST = "DIMENSION_LIST";
constexpr std::string_view REFERENCE_LIST = "REFERENCE_LIST";

// Attributes of a scale itself, of the class that makes it one.
constexpr std::string_view CLASS_ATTRIBUTE = "CLASS";
constexpr std::string_view DIMENSION_SCALE = "DIMENSION_SCALE";
constexpr std::string_view SCALE_NAME_ATTRIBUTE = "NAME";

inline bool attaches_scales(std::string_view attribute) {
    return attribute == DIMENSION_LIST || attribute == REFERENCE_LIST;
}

struct AttachedScale {
    std::size_t dimension = 0; // of the set that it is attached to
    std::string path;          // its own, from the root, with a leading '/'
    std::uint64_t value_count = 0;
};

// The other way round.
struct ScaledSet {
    std::string path; // of the set that a scale is attached to, from the root, with a leading '/'
    std::size_t dimension = 0;
    std::uint64_t length = 0; // of that dimension
};

} // namespace talvora::host
