// Samples as they stand in the cells of a table.
#pragma once

#include <fmt/format.h>

#include <cmath>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

namespace talvora::host {

// A number with a decimal point, whatever the locale is, perhaps with a '+' in front: a double that
// becomes, as a 32-bit float, the one nearest to the text. Nothing for another text, NaN, and a
// finite number beyond the greatest float.
std::optional<double> parse_sample(std::string_view text);

// An integer never is.
template <typename Sample>
bool is_missing(Sample sample) {
    if constexpr (std::is_floating_point_v<Sample>) {
        return std::isnan(sample);
    } else {
        return false;
    }
}

// The shortest decimal text that reads back as the same sample; nothing for a missing one.
template <typename Sample>
void append_sample(std::string& text, Sample sample) {
    if (!is_missing(sample)) {
        fmt::format_to(std::back_inserter(text), "{}", sample);
    }
}

} // namespace talvora::host
