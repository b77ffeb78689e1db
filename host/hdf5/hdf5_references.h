// References to objects, which attributes and data sets hold beside links: dimension scales, cells
// of tables, regions. They lead to the place of an object in the file, not to its name.
#pragma once

#include "host/hdf5/hdf5_links.h"
#include "host/tree/attached_scale.h"

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace talvora::host::hdf5 {

struct Referrer {
    enum class By {
        Value,
        FillValue, // which a data set keeps as it was made with it
        Unlinked   // a value of an object that no link leads to: the one at the path does, by a
                   // reference, or as the type of its values
    };
    std::string path;
    std::string attribute; // that refers; empty: the data set at the path does
    By by = By::Value;
    bool to_region = false; // of a data set, not to the whole of an object
};

// A reference to a part of a data set that was deleted: the library does not tell its address.
struct LostRegion {
    std::vector<std::byte> reference;
    Referrer by;
};

struct Referrers {
    std::multimap<haddr_t, Referrer> by_address;
    std::vector<LostRegion> lost_regions;
};

// What refers to the objects of a file, by their addresses: all objects that hard links lead to are
// looked at, and what these objects refer to. Data sets whose references are kept in other files,
// which are not opened, stand at HADDR_UNDEF. The paths are from the root.
Referrers list_referrers(hid_t file);

// What would refer to an object that was made just now, because it did to one that was deleted and
// had its place; null where nothing does. A region leads to what a link leads to alone.
const Referrer* find_referrer_of_new(hid_t object, const Referrers& referrers);

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

// The dimension scales that are attached to a data set, in the order of its dimensions.
std::vector<AttachedScale> list_attached_scales(hid_t set, const std::string& path);

// The data sets of a file that a data set is attached to as a dimension scale, by what they tell
// themselves: what refers to the objects of that file is given.
std::vector<ScaledSet> list_scaled_sets(hid_t scale,
                                        const std::multimap<haddr_t, Referrer>& referrers);

// Lets the values that refer to the whole of one object refer to another one. False where the
// library does not keep the others: there are types whose values it writes wrongly.
bool redirect(hid_t file, const Referrer& referrer, haddr_t from, haddr_t to);

} // namespace talvora::host::hdf5
