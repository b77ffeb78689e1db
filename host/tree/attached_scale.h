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

} // namespace talvora::host
