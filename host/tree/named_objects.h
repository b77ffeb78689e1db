// The objects of a tree by their paths: all that there are, those that a pattern matches,
// and what the parameters of units name of them.
#pragma once

#include "host/tree/data_tree.h"

#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

struct NamedObject {
    std::string path;
    ObjectKind kind = ObjectKind::Group;
};

// Neither a group nor a data set of real numbers.
struct NamedOther {
    std::string path;
    OtherObject object;
};

// Every group and data set below a group, which has this path. A group that is linked into
// several places is entered in the first of them.
std::vector<NamedObject> list_objects(DataTree& tree, ObjectId group, const std::string& path);

// The objects that a pattern (host/text/path_glob.h) matches. A path that names an existing object
// as it stands is that object alone, of any kind, whatever letters it holds.
std::vector<NamedObject> find_matches(DataTree& tree, std::string_view pattern);

// Those that are neither, found in the same way: all below a group, and those that a pattern
// matches, of which one that names an existing object as it stands has none.
std::vector<NamedOther> list_others_below(DataTree& tree, ObjectId group, const std::string& path);
std::vector<NamedOther> find_other_matches(DataTree& tree, std::string_view pattern);

// The path of the group below which a pattern has to be looked for: what stands in front
// of its first wildcard.
std::string find_fixed_part(std::string_view pattern);

std::vector<std::string> paths_of_kind(const std::vector<NamedObject>& objects, ObjectKind kind);

// "group" or "data set"
std::string_view name_kind(ObjectKind kind);

} // namespace talvora::host
