// The column of a table that holds the times of its rows.
#pragma once

#include "host/tables/number_table.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// "Time" or "t", in either case, with a unit behind it or without: "time (ms)", "T [s]"; of "time"
// also behind a mark: "time_ms", "time/ms".
bool is_named_time(std::string_view text);

// s, ms or us, or sec, msec, usec.
bool is_unit_of_time(std::string_view unit);

// The first that is so far from 0, beyond the year 5000, that it counts something smaller than
// seconds.
std::optional<double> find_no_second(std::span<const double> times);

// Its values in seconds. The unit is that of a row of units, or stands behind the name, in
// brackets or after one of _ / - . : s, ms or us; s without. Dates and times of day are seconds
// since 1970. Throws a Failure of usage for another unit, and for numbers without one that are too
// large for seconds, of the input for a cell without a number, or without a date below others.
std::vector<double> read_seconds(const NumberColumn& column, std::size_t first_row,
                                 const std::string& source);

} // namespace talvora::host
