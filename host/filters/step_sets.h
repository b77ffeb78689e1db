// The data sets that a step works on, as its parameters choose them.
#pragma once

#include "host/interface/parameters.h"
#include "host/tree/data_tree.h"

#include <vector>

namespace talvora::host {

// Those named by SourceSets, then those in SourceGroup, of which NamesFilter may take some, and
// with ScanRecursive those below it; each once. What is not there, or is something else, is left
// out.
std::vector<ObjectId> find_step_sets(const ParameterValues& values, DataTree& tree);

} // namespace talvora::host
