// A plug-in with one unit, which takes no parameters and does nothing.
#include "plugin/plugin_api.h"

namespace {

using namespace talvora;

std::uint64_t declare_idle(call_context*, get_interface_function) {
    return 0;
}

bool run_idle(call_context*, get_interface_function) {
    return true;
}

const plugin_descriptor PLUGIN = {.name = [] { return "consumer"; },
                                  .vendor = [] { return "somebody"; },
                                  .version = [] { return "1.0.0"; },
                                  .description = [] { return "A plug-in built outside"; },
                                  .web_address = [] { return ""; },
                                  .reserved = {}};

const unit_descriptor IDLE = {.name = [] { return "consumer.idle"; },
                              .vendor = [] { return "somebody"; },
                              .category = [] { return "Test"; },
                              .declare = declare_idle,
                              .run = run_idle,
                              .version = [] { return "1.0.0"; },
                              .description = [] { return "Does nothing"; },
                              .date = nullptr,
                              .reserved = {}};

} // namespace

extern "C" TALVORA_EXPORT const void* talvora_plugin_api(std::uint32_t* count_out,
                                                         std::int32_t kind) {
    if (kind != PLUGIN_DESCRIPTOR_KIND && kind != UNIT_TABLE_KIND) {
        return nullptr;
    }
    *count_out = 1;
    return kind == UNIT_TABLE_KIND ? static_cast<const void*>(&IDLE) : &PLUGIN;
}
