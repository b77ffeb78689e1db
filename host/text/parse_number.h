// Numbers as people write them.
#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace talvora::host {

// The whole text as an integer (decimal) or a float, with a decimal point whatever the locale
// is; "nan" and "inf" are floats. Nothing for a text with anything else in it, a blank or a '+'
// included, and for a number that does not fit.
template <typename Number>
std::optional<Number> parse_number(std::string_view text) {
    Number number{};
    const char* text_end = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), text_end, number);
    return error == std::errc{} && end == text_end ? std::optional(number) : std::nullopt;
}

// As above, where a '+' may stand in front, in the place of a '-'.
template <typename Number>
std::optional<Number> parse_signed_number(std::string_view text) {
    const bool has_plus = text.starts_with('+') && !text.starts_with("+-");
    return parse_number<Number>(text.substr(has_plus ? 1 : 0));
}

} // namespace talvora::host
