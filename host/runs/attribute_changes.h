// Attributes of a file that a command sets and removes.
#pragma once

#include "host/hdf5/hdf5_tree.h"
#include "host/interface/attribute_words.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

struct AttributeEdit {
    std::vector<AttributeWord> words;
    std::vector<std::string> removed; // names
};

// What an object holds by a name.
struct HeldAttribute {
    AttributeType type;
    std::optional<AttributeValue> value; // nothing where its type cannot be read
};

struct AttributeChange {
    std::string path;
    std::string name;
    std::optional<HeldAttribute> before; // nothing for a new one
    std::optional<HeldAttribute> after;  // nothing for one that was removed
};

// For people: the path, and "/" for the root.
std::string name_owner(const std::string& path);
// "float32", "text [3]"
std::string name_attribute_type(const AttributeType& type);

// Nothing when the object has none of that name.
std::optional<HeldAttribute> find_attribute(Hdf5Tree& tree, ObjectId object,
                                            const std::string& name);

// The group or the data set that a path names, else the data sets that a pattern chooses
// (choose_sets). `source` names the file in messages.
std::vector<std::string> choose_owners(Hdf5Tree& tree, const std::string& pattern,
                                       const std::string& source);

// Sets and removes attributes of these objects, in their order and that of the words. Throws a
// Failure of usage for a value that does not fit the type which is there, and one of the input for
// an attribute to be removed that none of them has.
std::vector<AttributeChange> edit_attributes(Hdf5Tree& tree, std::span<const std::string> paths,
                                             const AttributeEdit& edit, const std::string& source);

// Throws a TreeError where an attribute is not as it was set.
void compare_attributes(Hdf5Tree& tree, std::span<const AttributeChange> changes);

} // namespace talvora::host
