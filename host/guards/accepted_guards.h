// Guards that a user accepts by name.
#pragma once

#include "host/recipes/recipe.h"

#include <span>
#include <string>

namespace talvora::host {

// The recipe with every step accepting these guards besides its own. Each word is a name or
// several with commas between. Throws a Failure of usage that names the nearest for a word that
// is none.
Recipe accept_in_all_steps(Recipe recipe, std::span<const std::string> words);

} // namespace talvora::host
