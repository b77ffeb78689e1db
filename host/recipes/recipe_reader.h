// Reads a recipe: a YAML text with named steps, each a unit and its parameters, and
// variables that they use.
//
//     description: Fills and smooths
//     variables:
//       cutoff: 5
//     steps:
//       - name: smooth
//         unit: apply-set-butterworth
//         parameters:
//           SourceGroup: Imu
//           CutoffFrequency: ${cutoff}
//           Order: 4
//         accept: [unusable-filter]
//
// A step may have aims (recipe.h), too: `edges`, `to_rate` and `set_by_set`.
//
// Values are read against the types that the units declare. A text in quotes is a text and
// no number or boolean; without quotes, what stands there is read as the declared type
// wants it, so that a group may be called 5 or true. See docs/recipes.md.
#pragma once

#include "host/interface/plugin_library.h"
#include "host/recipes/recipe.h"
#include "host/recipes/recipe_problems.h"

#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// What is wrong with the values of a unit and the aims beyond what its signatures tell. `values`
// lacks those of found keys.
using CheckStep = std::function<std::vector<ParameterProblem>(
    const Unit& unit, const ParameterValues& values, const StepAims& aims)>;
// The keys whose values are found by the aims: they need not be given.
using ListFoundKeys = std::function<std::vector<std::string>(const StepAims& aims)>;

// What a recipe is held to besides the signatures of its units.
struct RecipeChecks {
    std::vector<std::string> guards = {}; // the names that a step may accept
    CheckStep step = {};                  // its values are of the declared types
    ListFoundKeys found_keys = {};
};

// The recipe in `text`; `file` is how problems name it, `settings` are "name=value" for its
// variables. What is accepted and the values are looked at where the checks say how. Throws
// RecipeError with everything that is wrong, or PluginError when a unit's own declaration is. The
// steps point into the library.
Recipe parse_recipe(std::string_view text, std::string_view file,
                    std::span<const std::string> settings, const PluginLibrary& library,
                    const RecipeChecks& checks = {});

// The same from a file. Throws a Failure of the input when it cannot be read.
Recipe read_recipe(const std::filesystem::path& file, std::span<const std::string> settings,
                   const PluginLibrary& library, const RecipeChecks& checks = {});

} // namespace talvora::host
