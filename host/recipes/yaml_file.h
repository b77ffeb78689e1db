// The YAML files that a command is given: recipes, and maps of imports.
#pragma once

#include "host/recipes/recipe_problems.h"
#include "host/recipes/yaml_document.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace talvora::host {

// As much of the text as parse_yaml wants to see. Throws a Failure of the input when it cannot be
// read; `what` the file should be stands in the message for a folder.
std::string read_yaml_file(const std::filesystem::path& file, std::string_view what);

// The document in the text, with what is wrong with it reported. Nothing when there is none, which
// is reported too.
std::optional<YamlNode> read_document(std::string_view text, RecipeProblems& problems);

} // namespace talvora::host
