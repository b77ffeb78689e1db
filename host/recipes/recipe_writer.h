// Writes recipes as YAML texts that recipe_reader.h reads.
#pragma once

#include "host/recipes/recipe.h"

#include <span>
#include <string>

namespace talvora::host {

// The recipe in one canonical form: each step with its unit's whole identifier and the
// values that were given, in the order of declaration, the guards that it accepts and its aims.
// Reading the text again gives the same recipe. Throws a Failure of usage when a text is no UTF-8,
// which a recipe is.
std::string format_recipe(const Recipe& recipe);

// A recipe of one step to fill in: every parameter with its default, the required ones
// without a value, and the optional ones that have no default as comments.
std::string format_recipe_skeleton(const Unit& unit,
                                   std::span<const ParameterSignature> signatures);

} // namespace talvora::host
