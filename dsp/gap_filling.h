// Linear interpolation over the gaps between the valid runs of a line.
#pragma once

#include "dsp/valid_runs.h"

#include <cstdint>
#include <span>
#include <vector>

namespace talvora::dsp {

// Rows of (first position, sample count), one behind the other.
using GapRows = std::vector<std::int64_t>;

// Appends to `rows` each gap between two neighbouring runs that is no longer than
// `max_length`.
void append_gaps(std::span<const ValidRun> runs, std::int64_t max_length, GapRows& rows);

// Puts each gap of `rows`, gaps of this line in increasing order, on the straight line
// between the samples beside it. `runs` are all the runs of the line. Positions along
// the line are single-precision floats: past 2^24 samples neighbours may share one, and
// what is interpolated follows from that. Linear in the samples of the gaps, without
// allocation, up to 2^24 samples; linear in the line, with a copy of it, beyond.
void fill_gaps(std::span<float> line, std::span<const ValidRun> runs,
               std::span<const std::int64_t> rows);
// With positions in double precision, of which no line has more than are exact.
void fill_gaps(std::span<double> line, std::span<const ValidRun> runs,
               std::span<const std::int64_t> rows);

// What fill_gaps comes down to for floats, chosen by the length of the line.
//
// By definition: an interpolator over all valid samples of the line, asked for each
// position in turn. Right for every line.
void fill_gaps_by_search(std::span<float> line, std::span<const ValidRun> runs,
                         std::span<const std::int64_t> rows);

// The same values to the last bit for a line of up to 2^24 samples: as each of its
// positions is a float of its own, the search always ends at the gap's neighbours.
void fill_gaps_from_neighbours(std::span<float> line, std::span<const std::int64_t> rows);

// The longest line of which every position is exact in single precision.
constexpr std::size_t MAX_EXACT_LINE_LENGTH = std::size_t{1} << 24;

} // namespace talvora::dsp
