#include "host/tables/column_name.h"

#include <cstddef>

namespace talvora::host {
namespace {

constexpr std::string_view OPENING = "([";
constexpr std::string_view CLOSING = ")]";

// Of the bracket that the last letter closes.
std::size_t find_opening(std::string_view text) {
    std::size_t depth = 0;
    for (std::size_t i = text.size(); i-- > 0;) {
        if (CLOSING.find(text[i]) != std::string_view::npos) {
            ++depth;
        } else if (OPENING.find(text[i]) != std::string_view::npos && --depth == 0) {
            return i;
        }
    }
    return std::string_view::npos;
}

} // namespace

std::string_view without_brackets(std::string_view unit) {
    const ColumnName split = split_unit(unit);
    return split.name.empty() ? split.unit.value_or(unit) : unit;
}

ColumnName split_unit(std::string_view text) {
    const bool is_bracketed = !text.empty() && CLOSING.find(text.back()) != std::string_view::npos;
    const std::size_t open = is_bracketed ? find_opening(text) : std::string_view::npos;
    if (open == std::string_view::npos) {
        return {text, std::nullopt};
    }
    const std::string_view name = text.substr(0, open);
    return {name.substr(0, name.find_last_not_of(' ') + 1),
            text.substr(open + 1, text.size() - open - 2)};
}

} // namespace talvora::host
