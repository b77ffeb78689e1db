#include "host/tables/cell_words.h"

#include "host/tables/iso_time.h"
#include "host/text/ascii.h"
#include "host/text/parse_number.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace talvora::host {
namespace {

bool is_missing_word(std::string cell) {
    constexpr std::string_view WORDS[] = {"",    "-",    "--",  "?",    "nan",  "na",
                                          "n/a", "#n/a", "nil", "null", "none", "missing"};
    std::ranges::transform(cell, cell.begin(), to_lower);
    return std::ranges::find(WORDS, cell) != std::end(WORDS);
}

std::string_view take_digits(std::string_view& text, std::size_t most = std::string_view::npos) {
    const auto* const end = std::ranges::find_if_not(text.substr(0, most), is_digit);
    const std::string_view digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(digits.size());
    return digits;
}

bool is_decimal_sign(std::string_view text) {
    return text == "." || text == ",";
}

// Without its sign.
std::optional<std::string> without_separator(std::string_view text, std::string_view separator) {
    constexpr std::size_t GROUP = 3;
    std::string number(take_digits(text, GROUP));
    int group_count = 0;
    while (!number.empty() && text.starts_with(separator)) {
        text.remove_prefix(separator.size());
        const std::string_view group = take_digits(text);
        if (group.size() != GROUP) {
            return std::nullopt;
        }
        number += group;
        ++group_count;
    }
    const bool has_decimals = is_decimal_sign(text.substr(0, 1));
    if (has_decimals) {
        text.remove_prefix(1);
        number += '.';
        number += take_digits(text);
    }
    const bool has_one_reading = group_count > 1 || has_decimals || !is_decimal_sign(separator);
    return group_count > 0 && has_one_reading && text.empty() && !number.starts_with('0')
               ? std::optional(number)
               : std::nullopt;
}

} // namespace

std::optional<std::string> without_separators(std::string_view cell) {
    constexpr std::string_view SEPARATORS[] = {
        ",",      ".",      " ",     "'",
        "\u2019", "\u00a0", "\u202f"}; // an apostrophe, blanks that do not break
    const bool has_sign = cell.starts_with('-') || cell.starts_with('+');
    for (const std::string_view separator : SEPARATORS) {
        if (const auto number = without_separator(cell.substr(has_sign ? 1 : 0), separator)) {
            return (cell.starts_with('-') ? "-" : "") + *number;
        }
    }
    return std::nullopt;
}

bool is_number(std::string cell) {
    if (parse_iso_time(cell)) {
        return true;
    }
    std::ranges::replace(cell, ',', '.');
    return parse_signed_number<double>(cell).has_value();
}

bool is_word(const std::string& cell) {
    return !is_number(cell) && !is_missing_word(cell);
}

bool is_row_of_samples(std::span<const std::string> cells) {
    return std::ranges::none_of(cells, is_word) && !std::ranges::all_of(cells, is_missing_word);
}

} // namespace talvora::host
