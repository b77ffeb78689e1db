// The objects of a tree that a pattern chooses, with what is known of each.
#pragma once

#include "host/tree/data_tree.h"
#include "host/tree/line_names.h"
#include "host/tree/set_statistics.h"

#include <optional>
#include <string>
#include <vector>

namespace talvora::host {

struct ObjectAttribute {
    std::string name;
    std::optional<AttributeValue> value; // nothing when its type cannot be read
    std::string problem;
};

struct TreeEntry {
    std::string path;
    ObjectKind kind = ObjectKind::Group;
    std::string description;               // "group", "data set", or what else it is
    Extents extents;                       // of a data set
    SampleType type = SampleType::Float32; // of a data set
    std::optional<double> sample_rate;
    LineNames names;                         // of a data set
    std::vector<ObjectAttribute> attributes; // but for the history
    std::optional<SetStatistics> statistics; // of a data set
};

struct EntryOptions {
    bool attributes = false;
    bool statistics = false; // reads the samples
};

// In the order of the tree: what a group holds stands below it. Of an empty pattern everything;
// a group that the pattern matches comes with all that it holds.
std::vector<TreeEntry> gather_entries(DataTree& tree, const std::string& glob,
                                      const EntryOptions& options);

} // namespace talvora::host
