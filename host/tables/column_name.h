// What the name of a column tells: of what its numbers are, and in which unit.
#pragma once

#include <optional>
#include <string_view>

namespace talvora::host {

struct ColumnName {
    std::string_view name;
    std::optional<std::string_view> unit; // what stood in the brackets, be it nothing
};

// "Time (ms)" and "Time [ms]" are "Time" in "ms", a name that does not end in brackets is as it
// stands. Brackets may hold brackets.
ColumnName split_unit(std::string_view text);

// "[ms]" and "(ms)" are "ms", and so it is itself.
std::string_view without_brackets(std::string_view unit);

} // namespace talvora::host
