// What is wrong with a YAML text, and where.
#pragma once

#include <compare>
#include <cstddef>
#include <string>

namespace talvora::host {

// Counted from 1, columns in characters.
struct YamlPlace {
    std::size_t line = 1;
    std::size_t column = 1;
    // NOLINTNEXTLINE(modernize-use-nullptr): no pointer, a comparison with 0 by the compiler
    friend auto operator<=>(const YamlPlace&, const YamlPlace&) = default;
};

struct YamlProblem {
    YamlPlace place;
    std::string text;
    std::string hint; // may be empty
};

} // namespace talvora::host
