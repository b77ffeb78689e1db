#include "dsp/block_passes.h"

#include <algorithm>
#include <cstring>

namespace talvora::dsp {

void filter_block_forward(const LaneGroup& group, LanePass& pass, std::ptrdiff_t first,
                          std::ptrdiff_t last, double* block, double* rows) {
    const auto step = static_cast<std::ptrdiff_t>(pass.lane_count());
    if (pass.state_repeats(last - first) && group.rows_repeat(first, last)) {
        if (rows != nullptr) {
            std::copy_n(rows - (last - first) * step, (last - first) * step, rows);
        }
        return;
    }
    group.load_rows(first, last, block);
    pass.filter(block, rows != nullptr ? rows : block, last - first, step);
}

void filter_block_backward(LanePass& pass, const double* rows, std::ptrdiff_t row_count,
                           double* out) {
    const auto step = static_cast<std::ptrdiff_t>(pass.lane_count());
    const std::ptrdiff_t size = row_count * step;
    if (pass.state_repeats(row_count) &&
        std::memcmp(rows, rows + size, static_cast<std::size_t>(size) * sizeof(double)) == 0) {
        return; // `out` holds the result already
    }
    pass.filter(rows + size - step, out + size - step, row_count, -step);
}

} // namespace talvora::dsp
