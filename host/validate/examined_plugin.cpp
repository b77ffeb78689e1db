#include "host/validate/examined_plugin.h"

#include "host/validate/import_redirection.h"
#include "host/validate/static_data.h"
#include "host/validate/watched_imports.h"

#include <algorithm>

namespace talvora::host {

namespace {

// What is in the process before the library is, is this program's own.
template <typename Load>
auto load_watched(Examination& examination, Load load) -> std::optional<decltype(load())> {
    const auto own_libraries = list_loaded_libraries();
    make_place_below_closed_pages();
    try {
        std::optional<decltype(load())> loaded(std::in_place, load());
        watch_imports(own_libraries);
        guard_static_data(
            [&](std::string_view file) { return !own_libraries.contains(std::string(file)); });
        return loaded;
    } catch (const std::runtime_error& error) {
        examination.skip(error.what());
        return std::nullopt;
    }
}

} // namespace

ExaminedLibrary::ExaminedLibrary(const std::filesystem::path& file)
    : library(file), entry(reinterpret_cast<plugin_entry>(library.find(PLUGIN_ENTRY_NAME))) {}

std::optional<ExaminedLibrary> load_library(Examination& examination) {
    auto library = load_watched(examination, [&] { return ExaminedLibrary(examination.file()); });
    if (library && library->entry == nullptr) {
        examination.skip("there is no entry to call");
        return std::nullopt;
    }
    return library;
}

std::optional<PluginLibrary> load_plugin(Examination& examination) {
    return load_watched(examination, [&] { return PluginLibrary(examination.file()); });
}

std::vector<Unit> list_distinct_units(const PluginLibrary& plugin) {
    std::vector<Unit> units;
    for (const bool is_legacy : {false, true}) {
        for (const Unit& unit : plugin.units()) {
            const auto same = [&](const Unit& other) { return has_same_operations(unit, other); };
            if (unit.date.has_value() == is_legacy && std::ranges::none_of(units, same)) {
                units.push_back(unit);
            }
        }
    }
    return units;
}

} // namespace talvora::host
