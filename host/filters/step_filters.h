// The filters that a step of a run makes, found before it is run.
#pragma once

#include "host/filters/filter_facts.h"
#include "host/recipes/recipe.h"
#include "host/tree/data_tree.h"

#include <vector>

namespace talvora::host {

// One for each distinct rate, ascending, of the data sets that the step filters. Nothing for
// another unit than the Butterworth unit (under either identifier), for parameters that it
// refuses, and for rates that are not finite or not above 0. What is wrong with the
// names of sets is left to the unit to report.
std::vector<FilterFacts> find_step_filters(const Step& step, DataTree& tree);

} // namespace talvora::host
