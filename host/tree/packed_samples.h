// Attributes by which other programs tell that samples are not meant as they are stored, as the CF
// conventions of netCDF have them. Units and plain imports know none of them.
#pragma once

#include "host/tree/data_tree.h"

#include <cstdint>
#include <string>

namespace talvora::host {

// "its samples are taken as they are stored, and its attributes say otherwise: scale_factor = 0.01,
// _FillValue = -9999"; empty where they are meant so.
std::string describe_packing(DataTree& tree, ObjectId set);

// "2 of 1200 samples are 9.96921e+36, by which netCDF marks what was never written; they are taken
// as they are"
std::string describe_never_written(std::uint64_t count, std::uint64_t sample_count);

} // namespace talvora::host
