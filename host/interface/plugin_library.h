// A plug-in library: loaded, its entry looked up and its tables read and checked.
#pragma once

#include "host/system/shared_library.h"
#include "plugin/plugin_api.h"

#include <filesystem>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// Thrown when a library cannot be used as a plug-in, or one of its operations broke off;
// one line: which file, what, the value seen, what is allowed.
class PluginError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct PluginInfo {
    std::string name;
    std::string vendor;
    std::string version;
    std::string description;
    std::string web_address;
};

// One row of the unit table. Its texts are copies; its operations are the library's and
// are valid until unload.
struct Unit {
    std::string name;
    std::string vendor;
    std::string category;
    std::optional<std::string> version;
    std::optional<std::string> description;
    std::optional<std::string> date;
    declare_operation declare = nullptr;
    run_operation run = nullptr;
};

class PluginLibrary {
  public:
    // Loads the file and reads both tables; PluginError when anything is wrong with it.
    explicit PluginLibrary(const std::filesystem::path& file);

    const std::filesystem::path& file() const { return file_; }
    const PluginInfo& info() const { return info_; }
    // In the order of the library's table.
    std::span<const Unit> units() const { return units_; }

    // By the whole identifier, or by what follows its last dot when one unit alone has
    // that; null when there is no such unit.
    const Unit* find_unit(std::string_view name) const;

  private:
    std::filesystem::path file_;
    SharedLibrary library_;
    PluginInfo info_;
    std::vector<Unit> units_;
};

// What follows the last dot: "apply-set-rectify".
std::string short_name(const Unit& unit);

// True for an identifier and another one of the same unit.
bool has_same_operations(const Unit& unit, const Unit& other);

// The unit that a legacy identifier stands for, known by its operations; null for one
// that is current itself.
const Unit* find_current_unit(const PluginLibrary& library, const Unit& unit);

// The units of the table, those with a date of their own, which are legacy identifiers, last.
std::vector<const Unit*> list_current_first(const PluginLibrary& library);

// The identifier, whole or what follows its last dot, that a mistyped name was probably
// meant to be.
std::optional<std::string> find_nearest_unit(const PluginLibrary& library, std::string_view name);

} // namespace talvora::host
