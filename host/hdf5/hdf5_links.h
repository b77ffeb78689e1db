// The links of a group and the objects that they lead to.
#pragma once

#include "host/hdf5/hdf5_calls.h"

#include <optional>
#include <string>
#include <vector>

namespace talvora::host::hdf5 {

// Of what takes the place of a set or an attribute that is made anew, until it is complete.
constexpr char UNFINISHED_NAME[] = ".talvora-unfinished";

struct ObjectInfo {
    H5O_type_t type;
    haddr_t address; // tells objects of one file apart
    unsigned link_count;
};

bool link_exists(hid_t group, const std::string& name);
// Where a link leads that is not followed, for people: out of the file, by a way that this host
// does not know, or to a place where, as far as the file itself tells, there is nothing. Nothing
// for a link behind which there is an object, whether or not that can be opened. Throws when the
// way there cannot be read.
std::optional<std::string> describe_unfollowed_link(hid_t group, const std::string& name);
std::vector<std::string> list_links(hid_t group); // by name
void delete_link(hid_t group, const std::string& name);
void rename_link(hid_t group, const std::string& from, const std::string& to);

// Soft links are followed; links into other files are not.
Id open_object(hid_t group, const std::string& path);
ObjectInfo object_info(hid_t object);
Id create_group(hid_t group, const std::string& name);

} // namespace talvora::host::hdf5
