// Memory that a plug-in has mapped, page by page, and not given back.
#pragma once

#include <cstddef>

namespace talvora::host {

// Ranges of bytes. Nothing here allocates; what is beyond the room for ranges is not kept.
class HeldMappings {
  public:
    static void add(void* begin, std::size_t byte_count);
    // The parts of the range that are held are so no longer.
    static void remove(void* begin, std::size_t byte_count);
    // Of all ranges.
    static std::size_t byte_count();
};

} // namespace talvora::host
