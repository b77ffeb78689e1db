// Arrays of callers, looked at before anything is done with them.
#pragma once

#include "library/talvora/talvora.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace talvora::library {

// An array that can be walked through: its samples lie within the address space, each at a multiple
// of its size. Strides, in bytes, are those of the caller where an extent is 2 or more; of others
// no step is ever taken, and they are the size of a sample.
struct ArrayView {
    std::byte* samples = nullptr;
    talvora_type type = 0;
    std::vector<std::int64_t> extents;
    std::vector<std::int64_t> strides;

    std::int64_t sample_size() const { return type == TALVORA_FLOAT64 ? 8 : 4; }
    bool is_empty() const;
};

// `name` is what a sentence calls it. Throws InvalidArgument for what is no such array.
ArrayView read_array(const talvora_array* array, std::string_view name);

// Throws InvalidArgument unless `out` has a place of its own for each sample, has the extents and
// the type of `in`, and is the same array or shares no byte with it; refused is also what takes too
// many trials to tell (library/way_search.h).
void check_output(const ArrayView& in, const ArrayView& out);

} // namespace talvora::library
