// Data spaces, which are extents, and the types of values.
#pragma once

#include "host/hdf5/hdf5_calls.h"
#include "host/tree/data_tree.h"
#include "host/tree/sample_type.h"
#include "host/tree/tree_rules.h"

#include <array>
#include <optional>
#include <span>
#include <vector>

namespace talvora::host::hdf5 {

// One number per dimension, with room for all that a space can have.
using Words = std::array<hsize_t, MAX_RANK>;

std::vector<hsize_t> to_hsize(std::span<const std::uint64_t> extents);

Id make_space(std::span<const std::uint64_t> extents, bool resizable);
Id make_scalar_space();
Extents space_extents(hid_t space);
bool has_no_elements(hid_t space); // a null space, without even one value

H5T_class_t type_class(hid_t type);
std::size_t type_size(hid_t type); // of one value, in bytes
bool is_unsigned(hid_t type);      // of an integer type
// Of an array, or of a list of any length.
Id element_type(hid_t type);
// Nothing for a type that is none of those real numbers, in either byte order.
std::optional<SampleType> find_sample_type(hid_t type);
// In which a new value is stored: little-endian. Of the library, never closed.
hid_t stored_type(SampleType type);
// What a data set of such values is, where it is another object.
OtherKind classify_set(hid_t type);
// For people: "64-bit floats", "complex values of 32-bit floats", "texts".
std::string describe_type(hid_t type);

} // namespace talvora::host::hdf5
