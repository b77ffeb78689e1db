// One value of a recipe, read as the type that a unit declares.
#pragma once

#include "host/interface/parameters.h"
#include "host/recipes/recipe_problems.h"
#include "host/recipes/yaml_document.h"

#include <optional>

namespace talvora::host {

// A list only from a list; a number or boolean only from what stands without quotes. What
// is wrong goes to the problems, and nothing comes back; so it does for a broken node,
// without another problem.
std::optional<ParameterValue> read_recipe_value(const ParameterSignature& signature,
                                                const YamlNode& node, RecipeProblems& problems);

} // namespace talvora::host
