// The innermost loops over lanes: several runs filtered side by side, one to a lane
// of a vector register. Rows are steps of time, columns are lanes: a block of rows is
// a row-major matrix of doubles with `lane_count` columns.
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

// Groups have 4, 8 or 16 lanes: sixteen doubles are two cache lines a row, and more
// lines at once would compete for the sets of the first-level cache.
inline constexpr std::size_t MAX_LANE_COUNT = 16;

// Rows that pass through the first-level cache together: 60 rows of 16 doubles are 7.5 KiB.
// Cycles of 2, 3, 4, 5, 6 or 10 rows fit a whole number of times (see block_passes.h).
inline constexpr std::size_t BLOCK_ROW_COUNT = 60;

// One causal pass over rows. `in` and `out` point at the row that comes first in the
// direction of `row_step`, which is lane_count or -lane_count; they may be the same.
// `state` holds tap_count - 1 rows and is left as the last row made it.
struct RowPass {
    const double* b;
    const double* a;
    std::size_t tap_count;
    std::size_t lane_count;
    double* state;
    const double* in;
    double* out;
    std::ptrdiff_t row_step;
    std::size_t row_count;
};

// The loops for one instruction set.
struct LaneKernels {
    // Doubles to a register; lane_count is a multiple of it.
    std::size_t width;

    // The lanes to fill with a filter of `tap_count`: 4, 8 or 16, as many vectors as can be in
    // flight at once. More of them would gain nothing and take more of the caches.
    std::size_t (*lanes_at_once)(std::size_t tap_count);

    void (*filter_rows)(const RowPass& pass);
    // Four lines of `row_count` floats to four columns of doubles, `row_stride` apart.
    void (*widen_lines)(const float* const lines[4], std::size_t row_count, double* column,
                        std::size_t row_stride);
    // And back; doubles beyond the range of a float become infinities.
    void (*narrow_lines)(const double* column, std::size_t row_count, std::size_t row_stride,
                         float* const lines[4]);
};

// One lane, for what must be done in order.
extern const LaneKernels SERIAL_LANE_KERNELS;
extern const LaneKernels SSE2_LANE_KERNELS;
extern const LaneKernels AVX2_LANE_KERNELS;
extern const LaneKernels AVX512_LANE_KERNELS;

} // namespace talvora::dsp
