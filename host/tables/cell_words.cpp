#include "host/tables/cell_words.h"

#include "host/tables/iso_time.h"
#include "host/text/ascii.h"
#include "host/text/parse_number.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace talvora::host {
namespace {

bool is_missing(std::string cell) {
    constexpr std::string_view WORDS[] = {"",    "-",    "--",  "?",    "nan",  "na",
                                          "n/a", "#n/a", "nil", "null", "none", "missing"};
    std::ranges::transform(cell, cell.begin(), to_lower);
    return std::ranges::find(WORDS, cell) != std::end(WORDS);
}

} // namespace

bool is_number(std::string cell) {
    if (parse_iso_time(cell)) {
        return true;
    }
    std::ranges::replace(cell, ',', '.');
    return parse_signed_number<double>(cell).has_value();
}

bool is_word(const std::string& cell) {
    return !is_number(cell) && !is_missing(cell);
}

bool is_row_of_samples(std::span<const std::string> cells) {
    return std::ranges::none_of(cells, is_word) && !std::ranges::all_of(cells, is_missing);
}

} // namespace talvora::host
