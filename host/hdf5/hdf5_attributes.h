// Attributes of objects in an HDF5 file. Integers, enumerations and floats of any width
// and texts of fixed or variable length are read; written are 64-bit integers, 32- and
// 64-bit floats and UTF-8 texts of variable length.
#pragma once

#include "host/hdf5/hdf5_calls.h"

#include <vector>

namespace talvora::host::hdf5 {

std::vector<std::string> list_attributes(hid_t object); // by name
std::optional<AttributeValue> read_attribute(hid_t object, const std::string& name,
                                             std::string_view path);
// The old value stays until the new one is complete.
void write_attribute(hid_t object, const std::string& name, const AttributeValue& value);
// All of them, of any type, with the type that they have, from a data set with these properties and
// in its order.
void copy_attributes(hid_t from, hid_t properties, hid_t to);

} // namespace talvora::host::hdf5
