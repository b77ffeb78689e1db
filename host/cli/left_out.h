// What the patterns of a command match and the command cannot take.
#pragma once

#include "host/cli/console.h"
#include "host/tree/data_tree.h"

#include <span>
#include <string>

namespace talvora::host {

// A line for each object that the patterns cover (choose_sets) and that is no data set of real
// numbers: a warning where it may hold a signal, an info for a single value, and for texts,
// references and the like a detail. The first ones of many, and how many there are further.
void tell_left_out(const Console& console, DataTree& tree, std::span<const std::string> patterns,
                   const std::string& source);

} // namespace talvora::host
