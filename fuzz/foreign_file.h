// HDF5 files as other programs may write them, made with the HDF5 library alone: every kind
// of object, type and link that a file can hold, in a shape that the input decides.
#pragma once

#include "fuzz/choices.h"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace talvora::fuzz {

// A data set that a tree has to offer, with what was written into it.
struct FloatSet {
    std::vector<std::uint64_t> extents;
    std::vector<float> samples;
};

// What was written, by path from the root without a leading '/'.
struct ForeignContent {
    std::map<std::string, std::vector<std::string>> links; // of each group, by name
    std::map<std::string, FloatSet> float_sets;
    std::map<std::string, std::vector<std::string>> attributes; // of each object, by name
};

// Writes over the file.
ForeignContent write_foreign_file(const std::filesystem::path& file, Choices& choices);

} // namespace talvora::fuzz
