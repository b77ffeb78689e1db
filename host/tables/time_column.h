// The column of a table that holds the times of its rows.
#pragma once

#include "host/tables/number_table.h"

#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// "Time" or "t", in either case, with a unit behind it or without: "time (ms)", "T [s]".
bool is_named_time(std::string_view name);

// Its values in seconds; its name tells the unit: s, ms or us in brackets, s without. Throws a
// Failure of usage for another unit, of the input for a cell without a number.
std::vector<double> read_seconds(const NumberColumn& column, const std::string& source);

} // namespace talvora::host
