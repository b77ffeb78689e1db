// A uniform grid under the times of rows that were meant to be equally spaced.
//
// Recorders stamp their rows with jitter, drop some, and run a little fast or slow.
// So rows are not placed by their distance from the first one, where an error of the
// rate would add up, but step by step: the time from one row to the next, in sample
// periods, rounded. The period is the mean of the steps within half of the median
// step around it. The median alone would be biased where times are ticks of a coarse
// clock: steps of 4, 4, 4, 3 ticks have the median 4 and the period 3.75.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace talvora::host {

// Rows are told as a spreadsheet numbers them: row 1 holds the names.
constexpr std::size_t FIRST_ROW_NUMBER = 2;

struct TimeGrid {
    double start_time = 0;  // of sample 0, in seconds
    double sample_rate = 0; // in samples per second
    std::uint64_t sample_count = 0;
    // One per row, increasing. A row stamped less than half a period after the row
    // before it, with no gap beside it to move into, shares the sample of that row.
    std::vector<std::uint64_t> sample_of_row;
};

// `times` in seconds, one per row. Throws a Failure of the input, `source` in front,
// when there are fewer than two rows, a time is missing or lies before the one of
// the row before, most rows share their times, or the times span more than a
// thousand samples for each row. Linear in the rows.
TimeGrid place_on_grid(std::span<const double> times, const std::string& source);

} // namespace talvora::host
