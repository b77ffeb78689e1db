// The innermost loops over lanes: several lines of samples filtered side by side, one to a lane
// of a vector register. Rows are steps of time, columns are lanes: a block of rows is a row-major
// matrix of doubles with as many columns as there are lanes. Samples come and go by tiles of
// TILE_ROWS rows.
//
// Multiplications and additions are those of `linear_filter`, in its order and each
// rounded by itself, so a lane holds what the plain loop computes, bit for bit.
//
// This header is read by sources built for wider instruction sets. It and what it
// includes must not define inline functions or templates with external linkage: the
// linker could keep a copy that older processors cannot run.
#pragma once

#include <cstddef>

namespace talvora::dsp {

// Sixteen doubles are two cache lines a row, and more lines at once would compete for the sets of
// the first-level cache.
inline constexpr std::size_t MAX_LANE_COUNT = 16;

// Floats to a cache line; of doubles two.
inline constexpr std::size_t TILE_ROWS = 16;

// A filter, and its state in every lane: tap_count - 1 rows, left as the last row made them.
struct LaneFilter {
    const double* b;
    const double* a;
    std::size_t tap_count; // 2 or more
    std::size_t lane_count;
    double* state;
};

// Addresses of samples that will be read soon, one for each lane: the memory is asked for them
// while a tile is passed, and for those `step` samples further with the tile after it.
template <class Sample>
struct Upcoming {
    const Sample* const* addresses;
    std::ptrdiff_t step;
};

// The loops for one instruction set, between samples of one type and rows of doubles. Lines are
// the addresses of their first samples, one for each lane; they may be equal.
template <class Sample>
struct LaneKernels {
    // Doubles to a register.
    std::size_t width;

    // The lanes for so many lines, at most those that a filter of `tap_count` can fill: 4, 8 or 16.
    // All below takes a filter with as many.
    std::size_t (*lane_count)(std::size_t tap_count, std::size_t line_count);

    // `row_count` samples of each line in order, to rows; without `rows` the state alone is wanted.
    // Asks the memory for what is `upcoming`, if anything is.
    // Where they are no whole tiles, the last tile reaches back to samples before, even before the
    // first one, which have to be there: here they are read, on the way back they are overwritten.
    void (*filter_forward)(const LaneFilter& filter, const Sample* const* lines,
                           std::size_t row_count, double* rows, const Upcoming<Sample>* upcoming);

    // `row_count` rows from the last to the first, to lines; without `lines` the state alone is
    // wanted. Rows beyond the range of a float become infinities as floats.
    void (*filter_backward)(const LaneFilter& filter, const double* rows, std::size_t row_count,
                            Sample* const* lines, const Upcoming<Sample>* upcoming);

    // Rows in place, from the one at `rows` on in steps of `row_step`: the number of lanes, or
    // its negative.
    void (*filter_rows)(const LaneFilter& filter, double* rows, std::size_t row_count,
                        std::ptrdiff_t row_step);
};

// The tables are named where they are chosen, in filter_path.cpp. Those of the baseline have two
// lanes: SSE2, NEON.

} // namespace talvora::dsp
