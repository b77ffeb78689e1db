// What the cells of a table seem to hold, whatever the decimal sign is.
#pragma once

#include <span>
#include <string>

namespace talvora::host {

// A number, "nan" included, or a time.
bool is_number(std::string cell);
// Neither a number nor one of the ways to write that a sample is missing.
bool is_word(const std::string& cell);
// No word, and not all of them missing.
bool is_row_of_samples(std::span<const std::string> cells);

} // namespace talvora::host
