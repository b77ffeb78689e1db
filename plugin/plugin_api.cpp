#include "plugin/plugin_api.h"

const void* talvora_plugin_api(std::uint32_t*, std::int32_t) {
    return nullptr;
}
