// What becomes of data sets that were of another type than 32-bit floats, told in lines.
#pragma once

#include "host/hdf5/hdf5_tree.h"

#include <string>

namespace talvora::host {

// "Imu/Rate: 64-bit floats, 32-bit in the result; largest change 3.0e-08 of the largest sample,
// 1.5e-08 of the range"
std::string describe_narrowing(const NarrowedSet& set);

} // namespace talvora::host
