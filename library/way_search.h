// Whether strides lead from one place to another.
#pragma once

#include <cstdint>
#include <vector>

namespace talvora::library {

// Of one axis: as many as there are, each of this size.
struct Steps {
    std::uint64_t size = 0;
    std::uint64_t most = 0;

    friend auto operator<=>(const Steps&, const Steps&) = default;
};

enum class Answer { No, Yes, Unknown };

// Whether some of these steps together make the distance; all of them together are below 2^64.
// Nested axes, as those of a table and of its parts, take some trials. What takes more than a
// millisecond's is not known.
Answer find_way(std::vector<Steps> steps, std::uint64_t distance);

} // namespace talvora::library
