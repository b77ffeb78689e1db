// What stands behind the handles of the header.
#pragma once

#include "host/guards/guarded_step.h"
#include "host/interface/plugin_library.h"
#include "host/recipes/run_history.h"
#include "host/tree/memory_tree.h"
#include "library/talvora/talvora.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace talvora::library {

// An attribute as it was last given out.
struct GivenAttribute {
    host::AttributeValue value;
    std::vector<std::int64_t> extents;
    double number = 0; // of a float
    std::vector<const char*> texts;
};

} // namespace talvora::library

struct talvora_tree {
    std::unique_ptr<talvora::host::MemoryTree> objects =
        std::make_unique<talvora::host::MemoryTree>();
    // Sets that were of another type than 32-bit floats, by path. What rounding changed in them is
    // forgotten with the first run that takes them, as guards have seen it then.
    std::map<std::string, talvora::host::RoundedSamples> rounded;
    std::set<std::string> written;                     // paths, by the last good run
    std::optional<talvora::host::InputIdentity> input; // the file that it was read from
    std::vector<std::int64_t> given_extents;           // of the set that was last given out
    talvora::library::GivenAttribute given;
};

namespace talvora::library {

// The object at a path, the root where that is empty. Throws a CallError that names what is
// nearest.
host::ObjectId find_object(talvora_tree& tree, const std::string& path);
host::ObjectId find_set(talvora_tree& tree, const std::string& path);

// Extents as the header has them.
std::vector<std::int64_t> to_signed(const host::Extents& extents);

} // namespace talvora::library
