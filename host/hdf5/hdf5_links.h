// The links of a group and the objects that they lead to.
#pragma once

#include "host/hdf5/hdf5_calls.h"
#include "host/tree/data_tree.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace talvora::host::hdf5 {

struct ObjectInfo {
    H5O_type_t type;
    haddr_t address; // tells objects of one file apart
    unsigned link_count;
};

bool link_exists(hid_t group, const std::string& name);
bool is_hard_link(hid_t group, const std::string& name);
struct UnfollowedLink {
    OtherKind kind;
    std::string description; // for people
};

// A link that is not followed: out of the file, by a way that this host does not know, or to a
// place where, as far as the file itself tells, there is nothing. Nothing for a link behind which
// there is an object, whether or not that can be opened. Throws when the way there cannot be read.
std::optional<UnfollowedLink> find_unfollowed_link(hid_t group, const std::string& name);
std::vector<std::string> list_links(hid_t group); // by name
// The paths of all hard links of a file, by the address of the object.
std::multimap<haddr_t, std::string> list_hard_links(hid_t file);
// Calls for the root and for each object that hard links lead to, once, by the first of its paths,
// which is from the root.
void visit_objects(hid_t file,
                   const std::function<void(const std::string& path, hid_t object)>& call);
// Paths of links into other files, and those files.
std::vector<std::pair<std::string, std::string>> list_external_links(hid_t file);
// Lets a hard link lead to another object. It keeps the encoding of its name, not its place among
// links in the order in which they were made.
void relink(hid_t group, const std::string& name, hid_t object);

// Soft links are followed; links into other files are not.
Id open_object(hid_t group, const std::string& path);
ObjectInfo object_info(hid_t object);
// The text that people gave an object (H5Oset_comment), to another one; nothing where there is
// none.
void copy_comment(hid_t from, hid_t to);
Id create_group(hid_t group, const std::string& name);

} // namespace talvora::host::hdf5
