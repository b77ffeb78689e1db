// References to objects, which attributes and data sets hold beside links: dimension scales, cells
// of tables, regions. They lead to the place of an object in the file, not to its name.
#pragma once

#include "host/hdf5/hdf5_links.h"

#include <map>
#include <string>
#include <vector>

namespace talvora::host::hdf5 {

struct Referrer {
    std::string path;
    std::string attribute;  // that refers; empty: the values of the data set at the path do
    bool to_region = false; // of a data set, not to the whole of an object
};

// What refers to the objects of a file, by their addresses: all objects that hard links lead to are
// looked at, but the values of data sets that are kept in other files. The paths are from the root.
std::multimap<haddr_t, Referrer> list_referrers(hid_t file);

// The virtual data sets of a file, by the names of the sets that they show samples of. A file has
// many names, and may get another one: each set may be one of the same file.
struct ShownSet {
    std::string path; // of the virtual set, from the root
    std::string source;
};
std::vector<ShownSet> list_shown_sets(hid_t file);

// Whether the values of a data set are references to whole objects, and the paths from the root of
// those objects, in its order; empty for a reference that leads to none, or to one without a path.
bool holds_object_references(hid_t set);
std::vector<std::string> read_references(hid_t set, const std::string& path);

// Lets what refers to one object refer to another one.
void redirect(hid_t file, const Referrer& referrer, haddr_t from, haddr_t to);

} // namespace talvora::host::hdf5
