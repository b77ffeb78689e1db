// A plug-in library as the checks work on it: loaded, watched, its tables as they are.
#pragma once

#include "host/interface/plugin_library.h"
#include "host/system/shared_library.h"
#include "host/validate/check.h"

#include <optional>

namespace talvora::host {

struct ExaminedLibrary {
    explicit ExaminedLibrary(const std::filesystem::path& file);

    SharedLibrary library;
    plugin_entry entry; // null when the library has none
};

// Loads the library, guards its static data and watches what it asks of the platform from then on;
// a reason to skip, and nothing, when it cannot be loaded or has no entry.
std::optional<ExaminedLibrary> load_library(Examination& examination);

// Its units, when the tables can be read; otherwise a reason to skip, and nothing.
std::optional<PluginLibrary> load_plugin(Examination& examination);

// Each pair of operations once, under the name of the current identifier.
std::vector<Unit> list_distinct_units(const PluginLibrary& plugin);

} // namespace talvora::host
