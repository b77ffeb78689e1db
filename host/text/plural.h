// Counts in messages.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace talvora::host {

// "1 sample", "2 samples": for words whose plural ends in s.
inline std::string count_things(std::uint64_t count, std::string_view thing) {
    return std::to_string(count) + ' ' + std::string(thing) + (count == 1 ? "" : "s");
}

} // namespace talvora::host
