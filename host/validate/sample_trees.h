// The trees that units are tried on, small and the same every time.
#pragma once

#include "host/tree/data_tree.h"

#include <cstdint>
#include <map>
#include <span>
#include <string>

namespace talvora::host {

struct SampleTree {
    const char* name;
    void (*build)(DataTree& tree);
};

// Three groups of data sets of ordinary shapes and rates, one of the sets with gaps:
// SAMPLE_GROUP with SAMPLE_SET in it, a group below, and one below that.
void build_ordinary_tree(DataTree& tree);
constexpr char SAMPLE_GROUP[] = "Imu";
constexpr char SAMPLE_SET[] = "Imu/acc";

// The same names, the set shaped or described as few are: no dimension, no sample, one
// sample, many in a line, no rate.
std::span<const SampleTree> odd_trees();

// By path: a digest of the object's extents, samples and attributes, not of what is below.
// The same contents give the same digest in every process.
std::map<std::string, std::uint64_t> digest_objects(DataTree& tree);

} // namespace talvora::host
