// Texts as the cells of a table.
#pragma once

#include <string>
#include <string_view>

namespace talvora::host {

// In double quotes where a reader could take it for something else.
std::string quote_field(std::string_view text);

// True for a text that a spreadsheet would take for a formula: it begins with = + - @, a tab or a
// carriage return. Quotes do not keep it from that: they are gone when it looks.
bool is_formula(std::string_view text);

} // namespace talvora::host
