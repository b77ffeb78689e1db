// Sets that a command writes or draws as they are stored, and that are not meant so.
#pragma once

#include "host/cli/console.h"
#include "host/tree/data_tree.h"

#include <string>

namespace talvora::host {

// A warning where attributes of the set say so: "in.nc: acc: its samples are taken as they are
// stored, and its attributes say otherwise: scale_factor = 0.01".
void warn_of_packing(const Console& console, DataTree& tree, const std::string& path,
                     const std::string& source);

} // namespace talvora::host
