// The walk through a group and all that lies below it.
//
// Links can put a group into several places, and into itself: it is entered in the first of
// them, by depth and then in the tree's order, so that every walk comes to an end.
#pragma once

#include "host/tree/data_tree.h"

#include <functional>
#include <optional>
#include <string>

namespace talvora::host {

// A group where a walk comes upon it.
struct GroupPlace {
    ObjectId id{};
    std::string path;     // in this place; the tree may know the group by another
    bool is_first = true; // it was not met before, and is entered after the visit
};

// Visits the group, which has this path, and then every place of a group below it, before what
// is below that one. A group is looked for only when its turn has come. An exception of the
// visitor ends the walk.
void walk_group_places(DataTree& tree, ObjectId group, const std::string& path,
                       const std::function<void(const GroupPlace&)>& visit);

// The first place below the group, which has this path, that is the group itself or one on the way
// to that place: a link leads back to it. Nothing where every way down has an end.
std::optional<std::string> find_loop(DataTree& tree, ObjectId group, const std::string& path);

// Visits the group and each one below it once, in the same order.
void walk_groups(DataTree& tree, ObjectId group, const std::function<void(ObjectId)>& visit);

} // namespace talvora::host
