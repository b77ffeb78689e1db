// Where a file keeps what was done to it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace talvora::host {

// Of the root group: an array of texts, one JSON document per step that was run, oldest first.
constexpr char HISTORY_ATTRIBUTE[] = "talvora_history";

// What is more than one attribute takes goes on in further ones, counted from 1: the first has the
// name above, the second is "talvora_history_2".
std::string name_history_part(std::size_t number);

// Of the root group, too: an array of texts, one JSON document per table that was imported.
constexpr char IMPORTS_ATTRIBUTE[] = "talvora_imports";

// True for the name of each part that there may be, and of the imports.
bool is_history_part(std::string_view name);

} // namespace talvora::host
