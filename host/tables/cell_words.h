// What the cells of a table seem to hold, whatever the decimal sign is.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace talvora::host {

// A number, "nan" included, or a time.
bool is_number(std::string cell);
// The number without them, with a decimal point, where separators between thousands are the one
// reading of the cell: "1,234.5" and "1.234,5", but not "1,234".
std::optional<std::string> without_separators(std::string_view cell);
// Neither a number nor one of the ways to write that a sample is missing.
bool is_word(const std::string& cell);
// No word, and not all of them missing.
bool is_row_of_samples(std::span<const std::string> cells);

} // namespace talvora::host
