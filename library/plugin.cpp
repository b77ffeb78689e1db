// Plug-in libraries: opened, their units listed and described.
#include "library/caller_texts.h"
#include "library/guarded_call.h"
#include "library/plugin_units.h"
#include "library/versioned_structure.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvora::library {
namespace {

const char* text_or_null(const std::optional<std::string>& text) {
    return text ? text->c_str() : nullptr;
}

talvora_unit give_unit(const UnitTexts& texts) {
    talvora_unit unit{};
    unit.name = texts.name.c_str();
    unit.identifier = texts.identifier.c_str();
    unit.category = texts.category.c_str();
    unit.version = text_or_null(texts.version);
    unit.description = text_or_null(texts.description);
    unit.date = text_or_null(texts.date);
    unit.choices = text_or_null(texts.choices);
    unit.parameter_count = texts.parameters.size();
    return unit;
}

talvora_parameter give_parameter(const UnitTexts& unit, size_t index) {
    if (index >= unit.parameters.size()) {
        throw CallError(TALVORA_NOT_FOUND,
                        fmt::format("{} has no parameter {}: it has {}, counted from 0", unit.name,
                                    index, unit.parameters.size()));
    }
    const ParameterTexts& texts = unit.parameters[index];
    talvora_parameter parameter{};
    parameter.key = texts.key.c_str();
    parameter.type = texts.type.c_str();
    parameter.default_value = text_or_null(texts.default_value);
    parameter.is_required = texts.is_required ? 1 : 0;
    parameter.meaning = text_or_null(texts.meaning);
    parameter.measure = text_or_null(texts.measure);
    parameter.allowed = text_or_null(texts.allowed);
    return parameter;
}

size_t find_unit(const talvora_plugin& plugin, const std::string& name) {
    if (const host::Unit* unit = plugin.library.find_unit(name)) {
        return static_cast<size_t>(unit - plugin.library.units().data());
    }
    if (std::ranges::count(plugin.units, name, &UnitTexts::name) > 1) {
        throw CallError(
            TALVORA_NOT_FOUND,
            fmt::format("several units are called '{}': name one by its identifier", name));
    }
    const auto nearest = host::find_nearest_unit(plugin.library, name);
    throw CallError(TALVORA_NOT_FOUND,
                    fmt::format("no unit '{}'{}", name,
                                nearest ? fmt::format("; did you mean '{}'?", *nearest) : ""));
}

} // namespace
} // namespace talvora::library

using namespace talvora::library;

talvora_status talvora_plugin_open(const char* path, talvora_plugin** plugin, char* error,
                                   size_t error_size) {
    return guard_call(error, error_size, [&] {
        check_pointer(plugin, "plugin");
        *plugin = nullptr;
        *plugin =
            new talvora_plugin(path == nullptr ? find_own_plugin() : std::filesystem::path(path));
    });
}

void talvora_plugin_close(talvora_plugin* plugin) {
    delete plugin;
}

size_t talvora_plugin_unit_count(const talvora_plugin* plugin) {
    return plugin == nullptr ? 0 : plugin->units.size();
}

talvora_status talvora_plugin_unit(const talvora_plugin* plugin, size_t index, talvora_unit* unit,
                                   char* error, size_t error_size) {
    return guard_call(error, error_size, [&] {
        check_pointer(plugin, "plugin");
        write_structure(give_unit(plugin->unit_texts(index)), unit, "unit");
    });
}

talvora_status talvora_plugin_parameter(const talvora_plugin* plugin, size_t unit_index,
                                        size_t parameter_index, talvora_parameter* parameter,
                                        char* error, size_t error_size) {
    return guard_call(error, error_size, [&] {
        check_pointer(plugin, "plugin");
        write_structure(give_parameter(plugin->unit_texts(unit_index), parameter_index), parameter,
                        "parameter");
    });
}

talvora_status talvora_plugin_find_unit(const talvora_plugin* plugin, const char* name,
                                        size_t* index, char* error, size_t error_size) {
    return guard_call(error, error_size, [&] {
        check_pointer(plugin, "plugin");
        check_pointer(index, "index");
        *index = find_unit(*plugin, read_text(name, "name"));
    });
}
