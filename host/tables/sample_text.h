// Samples as they stand in the cells of a table.
#pragma once

#include <optional>
#include <string_view>

namespace talvora::host {

// A number with a decimal point, whatever the locale is, perhaps with a '+' in front. It rounds
// to the 32-bit float nearest to the text. Nothing for another text, NaN, and a finite number
// beyond the greatest float.
std::optional<double> parse_sample(std::string_view text);

} // namespace talvora::host
