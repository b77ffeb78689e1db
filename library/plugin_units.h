// A plug-in library as it stands behind its handle: what its units tell is read once.
#pragma once

#include "host/interface/parameters.h"
#include "host/interface/plugin_library.h"
#include "host/recipes/run_history.h"
#include "library/talvora/talvora.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace talvora::library {

struct ParameterTexts {
    std::string key;
    std::string type;
    std::optional<std::string> default_value;
    bool is_required = false;
    std::optional<std::string> meaning;
    std::optional<std::string> measure;
    std::optional<std::string> allowed;
};

// As the header gives them out. What a unit declares wrongly is the problem of that one alone.
struct UnitTexts {
    std::string name;
    std::string identifier;
    std::string category;
    std::optional<std::string> version;
    std::optional<std::string> description;
    std::optional<std::string> date;
    std::optional<std::string> choices;
    std::vector<host::ParameterSignature> signatures;
    std::vector<ParameterTexts> parameters;
    std::string problem; // why it cannot be used; empty: it can
};

} // namespace talvora::library

struct talvora_plugin {
    explicit talvora_plugin(const std::filesystem::path& file);

    // Throws CallError for one that there is not, and for one that cannot be used.
    const talvora::library::UnitTexts& unit_texts(size_t index) const;

    talvora::host::PluginLibrary library;
    talvora::host::PluginIdentity identity;
    std::vector<talvora::library::UnitTexts> units; // of the library's units, in their order
};

namespace talvora::library {

// That which came with this library: beside it, or where it is installed. Throws a CallError that
// says where it was looked for.
std::filesystem::path find_own_plugin();

} // namespace talvora::library
