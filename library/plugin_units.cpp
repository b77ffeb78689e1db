#include "library/plugin_units.h"

#include "host/filters/known_units.h"
#include "host/interface/unit_run.h"
#include "host/text/join_texts.h"
#include "host/text/utf8.h"
#include "library/guarded_call.h"

#include <fmt/format.h>

#include <algorithm>
#include <dlfcn.h>
#include <string_view>

namespace talvora::library {
namespace {

namespace fs = std::filesystem;

std::optional<std::string> escape(const std::optional<std::string>& text) {
    return text ? std::optional(host::escape_invalid_utf8(*text)) : std::nullopt;
}

std::optional<std::string> text_or_none(std::string_view text) {
    return text.empty() ? std::nullopt : std::optional<std::string>(text);
}

ParameterTexts make_texts(const host::Unit& unit, const host::ParameterSignature& signature) {
    ParameterTexts texts{.key = signature.key,
                         .type = std::string(host::type_name(signature.type)),
                         .default_value = {},
                         .is_required = signature.required,
                         .meaning = {},
                         .measure = {},
                         .allowed = {}};
    if (signature.default_value) {
        texts.default_value =
            host::escape_invalid_utf8(host::format_value(*signature.default_value));
    }
    if (const host::ParameterFacts* facts = host::find_parameter_facts(unit, signature.key)) {
        texts.meaning = text_or_none(facts->meaning);
        texts.measure = text_or_none(facts->measure);
        texts.allowed = text_or_none(host::describe_allowed(signature, *facts));
    }
    return texts;
}

void read_parameters(const host::Unit& unit, UnitTexts& texts) {
    try {
        texts.signatures = host::declare_unit(unit);
        for (const host::ParameterSignature& signature : texts.signatures) {
            texts.parameters.push_back(make_texts(unit, signature));
        }
    } catch (const host::PluginError& error) {
        texts.problem = error.what();
    }
}

UnitTexts read_texts(const host::Unit& unit) {
    UnitTexts texts{.name = host::escape_invalid_utf8(host::short_name(unit)),
                    .identifier = host::escape_invalid_utf8(unit.name),
                    .category = host::escape_invalid_utf8(unit.category),
                    .version = escape(unit.version),
                    .description = escape(unit.description),
                    .date = escape(unit.date),
                    .choices =
                        text_or_none(host::join_texts(host::describe_key_choices(unit), "; ")),
                    .signatures = {},
                    .parameters = {},
                    .problem = {}};
    read_parameters(unit, texts);
    return texts;
}

// ---------------------------------------------------------------------------

constexpr char OWN_PLUGIN[] = "kpl-talvora_signal.so";

// Seen from the folder of this library: in one with it, as built and in packages of Python; then as
// installed, where the system has its libraries in a folder of the architecture or not.
constexpr const char* OWN_PLUGIN_FOLDERS[] = {".", "talvora", "../talvora", "../lib/talvora"};

fs::path find_own_folder() {
    Dl_info found{};
    // Not by a function that is exported, which the program may have an entry of its own for.
    if (dladdr(OWN_PLUGIN, &found) == 0 || found.dli_fname == nullptr) {
        throw CallError(TALVORA_INTERNAL_ERROR, "the system does not tell where this library is");
    }
    return fs::canonical(found.dli_fname).parent_path();
}

} // namespace

fs::path find_own_plugin() {
    const fs::path own_folder = find_own_folder();
    std::vector<std::string> places;
    for (const char* folder : OWN_PLUGIN_FOLDERS) {
        fs::path file = (own_folder / folder / OWN_PLUGIN).lexically_normal();
        std::error_code ignored;
        if (fs::is_regular_file(file, ignored)) {
            return file;
        }
        if (std::ranges::find(places, file.string()) == places.end()) {
            places.push_back(file.string());
        }
    }
    throw CallError(TALVORA_PLUGIN_ERROR, fmt::format("the plug-in that comes with this library is "
                                                      "at none of its places: {}",
                                                      host::join_texts(places)));
}

} // namespace talvora::library

using namespace talvora::library;

talvora_plugin::talvora_plugin(const std::filesystem::path& file)
    : library(file), identity(talvora::host::identify_plugin(library)) {
    for (const talvora::host::Unit& unit : library.units()) {
        units.push_back(read_texts(unit));
    }
}

const UnitTexts& talvora_plugin::unit_texts(size_t index) const {
    if (index >= units.size()) {
        throw CallError(TALVORA_NOT_FOUND,
                        fmt::format("there is no unit {}: the plug-in has {}, counted from 0",
                                    index, units.size()));
    }
    if (!units[index].problem.empty()) {
        throw CallError(TALVORA_PLUGIN_ERROR, units[index].problem);
    }
    return units[index];
}
