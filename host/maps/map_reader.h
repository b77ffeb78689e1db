// Reads a map: one that comes with the program, or a YAML file (docs/files.md).
#pragma once

#include "host/maps/import_map.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// The names of the maps that come with the program.
std::vector<std::string> list_shipped_maps();
// The text of one of them; nothing for another name.
std::optional<std::string_view> find_shipped_map(std::string_view name);

// The map in `text`; `file` is how problems name it, `settings` are "name=value" for its variables.
// Throws RecipeError (host/recipes/recipe_problems.h) with everything that is wrong.
ImportMap parse_import_map(std::string_view text, std::string_view file,
                           std::span<const std::string> settings);

// Of this name, else of the file with this name. Throws a Failure of the input when that cannot be
// read.
ImportMap read_import_map(const std::string& name_or_file, std::span<const std::string> settings);

} // namespace talvora::host
