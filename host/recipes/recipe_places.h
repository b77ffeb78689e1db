// The groups and data sets that a recipe names, looked up in a tree before anything is run.
#pragma once

#include "host/recipes/recipe.h"
#include "host/tree/data_tree.h"

#include <vector>

namespace talvora::host {

// One problem for each source or hint that a step names and the tree does not hold, or
// holds as something else. What an earlier step makes counts as there.
std::vector<ParameterProblem> check_places(const Recipe& recipe, DataTree& tree);

} // namespace talvora::host
