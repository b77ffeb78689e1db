// The entry throws.
#include "tests/faulty_plugins/good_parts.h"

#include <stdexcept>

extern "C" TALVORA_EXPORT const void* talvora_plugin_api(std::uint32_t*, std::int32_t) {
    throw std::runtime_error("not today");
}
