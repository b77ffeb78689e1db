// Files beside an input that its links and data sets lead to, and what becomes of them when a
// result goes elsewhere.
#pragma once

#include "host/hdf5/hdf5_tree.h"

#include <filesystem>
#include <string>
#include <vector>

namespace talvora::host {

// From where a file is read to where its result goes.
struct Way {
    std::filesystem::path from;
    std::filesystem::path to;
};

// Throws a Failure (exit code 2) when the result would replace a file that the input leads to:
// its sets would show what was made of them.
void refuse_to_replace_kept_elsewhere(const Hdf5Tree& input, const Way& way);

// A sentence for each that is not found from the folder of the result, where a data set of such
// samples reads as its fill value.
std::vector<std::string> describe_lost_sight(const Hdf5Tree& tree, const Way& way);

} // namespace talvora::host
