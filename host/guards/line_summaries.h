// What the lines of a set hold, in a few numbers each.
#pragma once

#include "host/guards/set_lines.h"
#include "host/tree/line_summary.h"

#include <vector>

namespace talvora::host {

// In the order of the lines. Reads the set part by part.
std::vector<LineSummary> summarise_lines(DataTree& tree, ObjectId set, const SetLines& lines);

} // namespace talvora::host
