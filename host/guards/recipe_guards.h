// Guards of a whole recipe that need no samples, looked for before anything is run.
#pragma once

#include "host/guards/guard_finding.h"
#include "host/recipes/recipe.h"
#include "host/tree/data_tree.h"

#include <string>
#include <vector>

namespace talvora::host {

// In the order of the steps, up to the first that changes rates: what comes after it works on
// others than the tree tells. Sets that an earlier step makes are not known yet. `source` is the
// file's name, for what is to be typed. Throws a Failure, exit code UnitFailed, where the aims of a
// step (host/filters/step_aims.h) cannot be had.
std::vector<GuardFinding> find_guarded(const Recipe& recipe, DataTree& tree,
                                       const std::string& source);

// What units would refuse, up to the same step: sets without a rate that they need.
std::vector<ParameterProblem> find_lacking_rates(const Recipe& recipe, DataTree& tree,
                                                 const std::string& source);

} // namespace talvora::host
