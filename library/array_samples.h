// The samples of a caller's array as those of a data set.
#pragma once

#include "host/tree/data_tree.h"
#include "host/tree/line_roundings.h"
#include "host/tree/shared_samples.h"
#include "library/talvora/talvora.h"

#include <optional>
#include <string>

namespace talvora::library {

struct SetSamples {
    host::Extents extents;
    host::SharedSamples samples;                    // borrowed where they are row-major floats
    std::optional<host::SetRounding> rounding = {}; // of doubles, which are the nearest floats
};

// Refuses an array that is none, and finite samples that no float is near to; `path` names the set.
SetSamples take_samples(const talvora_array* array, const std::string& path);

} // namespace talvora::library
