// Attributes of objects in an HDF5 file. Integers, enumerations and floats of any width
// and texts of fixed or variable length are read; written are 64-bit integers, 32- and
// 64-bit floats and UTF-8 texts of variable length, unless another type is asked for.
#pragma once

#include "host/hdf5/hdf5_calls.h"
#include "host/tree/attribute_type.h"

#include <vector>

namespace talvora::host::hdf5 {

std::vector<std::string> list_attributes(hid_t object); // by name
std::optional<AttributeValue> read_attribute(hid_t object, const std::string& name,
                                             std::string_view path);
// Of an attribute that an object in the older format of files cannot take, and one in the newer
// can.
class TooLongAttribute : public TreeError {
  public:
    using TreeError::TreeError;
};

// The old value stays until the new one is complete. A name that is there keeps its encoding, and
// an attribute of which type and extents stay its place among those of the object, too. Throws
// TooLongAttribute.
void write_attribute(hid_t object, const std::string& name, const AttributeValue& value);
// The same, stored as such numbers: the value is of integers for a type of integers, else of
// floats.
void write_attribute(hid_t object, const std::string& name, const AttributeValue& value,
                     SampleType type);
// Nothing when there is none of that name.
std::optional<AttributeType> find_attribute_type(hid_t object, const std::string& name);
// Writes another value, which is of numbers or of texts as the old one is, with the type of that.
// What does not fit the type is cut to it: reading it again tells.
void rewrite_attribute(hid_t object, const std::string& name, const AttributeValue& value);
void delete_attribute(hid_t object, const std::string& name);
// All of them, of any type, with the type that they have and the encoding of their names, from a
// data set with these properties and in its order. A TreeError names set and attribute where the
// copy does not hold the same: there are types whose values the library writes wrongly.
void copy_attributes(hid_t from, hid_t properties, hid_t to, std::string_view path);

} // namespace talvora::host::hdf5
