// Times that are told in ticks, so many digits of a second, and rows that may have come one behind
// the other although their times do not seem so: 800 rows a second in whole milliseconds have steps
// of 1 and 2 ms, as 1000 rows a second have of which some are missing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace talvora::host {

// The largest power of ten, of a second and below, of which all times are multiples: they were told
// in so many digits, or might have been. 0 where there is none.
double find_tick(std::span<const double> times);

// How far times may be off for being doubles, in seconds.
double rounding_of(std::span<const double> times);

// In seconds.
struct PeriodRange {
    double shortest;
    double longest;
};

// The periods at which rows that are these samples, from 0 on, would be told these times in such
// ticks, the first at any time within a tick; nothing where there is none. As for the next two
// functions, `times` ascend, two or more.
std::optional<PeriodRange> find_periods(std::span<const double> times,
                                        std::span<const std::uint64_t> samples, double tick);

// Whether rows one behind the other at this rate, the first at any time within a tick, would be
// told these times.
bool is_unbroken_at(std::span<const double> times, double sample_rate);

// The roundest rate at which they would be, as near as doubles tell.
std::optional<double> find_unbroken_rate(std::span<const double> times);

// Rows one behind the other among others.
struct UnbrokenRows {
    std::size_t first;
    std::size_t count;
    double sample_rate;
};

// The rows about so many gaps in a row, or as many more as there are, that would be told their
// times at a rate without these gaps: all rows where they would, else the first such ones. The gaps
// are told by the rows before them, which ascend.
std::optional<UnbrokenRows> find_unbroken_rows(std::span<const double> times,
                                               std::span<const std::size_t> rows_before_gaps,
                                               std::size_t gap_count);

} // namespace talvora::host
