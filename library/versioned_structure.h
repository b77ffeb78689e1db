// Structures of callers that were compiled with an earlier or a later version of the header.
#pragma once

#include "library/guarded_call.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace talvora::library {

// No structure of the header comes to that; what is more was never set.
inline constexpr std::size_t LARGEST_STRUCTURE = 4096;

// Refuses a size that no version of the structure has. Until one adds members, the first version
// is this one.
template <class Structure>
void check_structure(const Structure* structure, std::string_view name) {
    if (structure == nullptr) {
        throw InvalidArgument(fmt::format("{} is NULL, where a structure is needed", name));
    }
    if (structure->struct_size < sizeof(Structure) || structure->struct_size > LARGEST_STRUCTURE) {
        throw InvalidArgument(
            fmt::format("struct_size of {} is {}; set it to sizeof the structure, {} here", name,
                        structure->struct_size, sizeof(Structure)));
    }
}

// A copy in this version's layout. Members of a later version have to be zero: what they ask for
// cannot be done.
template <class Structure>
Structure read_structure(const Structure* structure, std::string_view name) {
    check_structure(structure, name);
    Structure copy{};
    std::memcpy(&copy, structure, sizeof copy);
    const auto* const bytes = reinterpret_cast<const unsigned char*>(structure);
    if (std::any_of(bytes + sizeof copy, bytes + structure->struct_size,
                    [](unsigned char byte) { return byte != 0; })) {
        throw InvalidArgument(fmt::format(
            "{} asks for what this version of the library, {}, does not know: a member behind its "
            "first {} bytes is not zero",
            name, talvora_version(), sizeof copy));
    }
    copy.struct_size = sizeof copy;
    return copy;
}

// Fills the caller's structure. Members of a later version become zero.
template <class Structure>
void write_structure(Structure value, Structure* structure, std::string_view name) {
    check_structure(structure, name);
    value.struct_size = structure->struct_size;
    auto* const bytes = reinterpret_cast<unsigned char*>(structure);
    std::fill(bytes + sizeof value, bytes + structure->struct_size, static_cast<unsigned char>(0));
    std::memcpy(structure, &value, sizeof value);
}

} // namespace talvora::library
