// Copies the samples of a hyperslab out of and into a row-major array, in as few and as
// long pieces as it allows: a whole set or a line along its last axis is one
// memcpy. Allocates nothing; the hyperslab has been checked against the extents.
#pragma once

#include "host/tree/data_tree.h"

#include <cstdint>
#include <span>

namespace talvora::host {

// From the array to a contiguous block, last dimension fastest.
void gather_samples(std::span<const std::uint64_t> extents, const Hyperslab& slab,
                    const float* array, std::span<float> block);
// From the contiguous block into the array.
void scatter_samples(std::span<const std::uint64_t> extents, const Hyperslab& slab,
                     std::span<const float> block, float* array);

} // namespace talvora::host
