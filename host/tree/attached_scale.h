// A dimension scale: a data set that tells where along a dimension of another one its samples
// stand, such as their times.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace talvora::host {

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
