// A uniform grid under the times of rows that were meant to be equally spaced.
//
// Recorders stamp their rows with jitter, drop some, and run a little fast or slow.
// So rows are not placed by their distance from the first one, where an error of the
// rate would add up, but step by step: the time from one row to the next, in sample
// periods, rounded. The period is the mean of the steps within half of the median
// step around it. The median alone would be biased where times are ticks of a coarse
// clock: steps of 4, 4, 4, 3 ticks have the median 4 and the period 3.75.
//
// Times are told in so many digits, and a mean of their differences is known no better. Of the
// rates that this leaves possible the roundest one is taken, or that of the roundest period: rows
// in whole milliseconds, 400 to a second, have steps of 2 and 3 ms and a rate of 400 Hz. Where some
// are missing, and all others are told as they would be at one rate, the whole span tells it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace talvora::host {

enum class Placement {
    Steps,   // as above; what stands far from its time is for the caller to judge
    Nearest, // each row at the sample that is nearest to its time
    Linear,  // samples between the rows, on straight lines
};

struct GridChoice {
    Placement placement = Placement::Steps;
    std::optional<double> sample_rate; // of Nearest and Linear; without it that of the times
    double max_gap_samples = 1.5;      // Linear: rows further apart have no samples between them
    std::size_t first_row = 2;         // in messages
};

// A sample between two rows, so much of the way from `row` to the one behind it: from 0 to 1, or
// NaN where the rows are too far apart.
struct BetweenRows {
    std::size_t row = 0;
    double share = 0;
};

struct TimeGrid {
    double start_time = 0;  // of sample 0, in seconds
    double sample_rate = 0; // in samples per second
    std::uint64_t sample_count = 0;
    // One per row, increasing; empty where samples lie between rows. A row stamped less than half a
    // period after the row before it, with no gap beside it to move into, shares the sample of
    // that row. Of rows with the same nearest sample all but the nearest row are LEFT_OUT.
    std::vector<std::uint64_t> sample_of_row;
    std::vector<BetweenRows> between_rows = {}; // one per sample, where they lie between rows

    double time_of(std::uint64_t sample) const;
    bool leaves_out(std::size_t row) const;
};

constexpr std::uint64_t LEFT_OUT = std::numeric_limits<std::uint64_t>::max();

// `times` in seconds, one per row. Throws a Failure of the input, `source` in front,
// when there are fewer than two rows, a time is missing or lies before the one of
// the row before, most rows share their times, the rate that is found is below 0.01 Hz or above
// 10 MHz, or the times span more than a thousand samples for each row. Linear in the rows and
// samples.
TimeGrid place_on_grid(std::span<const double> times, const std::string& source,
                       const GridChoice& choice = {});

} // namespace talvora::host
