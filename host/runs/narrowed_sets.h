// What becomes of data sets that were of another type than 32-bit floats, told in lines.
#pragma once

#include "host/hdf5/hdf5_tree.h"

#include <span>
#include <string>

namespace talvora::host {

// "Imu/Rate: 64-bit floats, 32-bit in the result; largest change 3.0e-08 of the largest sample"
std::string describe_narrowing(const NarrowedSet& set);

// Throws the Failure of a guard when there are any: what takes the place of the input is to keep
// the samples that no step writes, and what the others were before is lost with it. `source` is the
// file's name.
void refuse_narrowing(std::span<const NarrowedSet> sets, const std::string& source);

} // namespace talvora::host
