// consumer_host LIBRARY: prints the units of a plug-in library, one per line.
#include "plugin/plugin_api.h"

#include <cstdio>
#include <dlfcn.h>

int main(int argument_count, char** arguments) {
    using namespace talvora;
    void* library = argument_count == 2 ? dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
    void* entry = library == nullptr ? nullptr : dlsym(library, PLUGIN_ENTRY_NAME);
    if (entry == nullptr) {
        return 1;
    }
    std::uint32_t count = 0;
    const auto* units = static_cast<const unit_descriptor*>(
        reinterpret_cast<plugin_entry>(entry)(&count, UNIT_TABLE_KIND));
    for (std::uint32_t i = 0; i < count; ++i) {
        std::puts(units[i].name());
    }
    return 0;
}
