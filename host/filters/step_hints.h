// What helps against what a unit says of the data: its message says what is wrong, and not where.
#pragma once

#include "host/recipes/recipe.h"
#include "host/tree/data_tree.h"

#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// For a message of the step's unit: the sets that it is about, with the value seen, and what
// helps. Nothing for a message that is not known. The step names no patterns any more.
std::vector<std::string> find_hints(const Step& step, std::string_view message, DataTree& tree);

} // namespace talvora::host
