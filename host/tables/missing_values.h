// Numbers that programs write where a sample is missing: -9999 and the like.
#pragma once

#include "host/tables/number_table.h"

#include <cstddef>
#include <optional>
#include <span>

namespace talvora::host {

// Cells that hold one of these numbers become missing, in all columns; each such column is noted.
void take_for_missing(NumberTable& table, std::span<const double> numbers);

struct LikelyMissing {
    double number = 0;
    std::size_t count = 0;
    double least = 0; // of the other numbers
    double greatest = 0;
};

// A number of nines, or -32768, that stands in a column more than once, further from all others
// than they are from each other.
std::optional<LikelyMissing> find_likely_missing(const NumberColumn& column);

} // namespace talvora::host
