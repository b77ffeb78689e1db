// Zero-phase filtering of several runs at once, one to a lane of the processor's vector
// registers; the results are those of zero_phase_filter.h, bit for bit.
#pragma once

#include "dsp/lane_group.h"
#include "dsp/lane_kernels.h"
#include "dsp/zero_phase_filter.h"

#include <memory>
#include <span>
#include <vector>

namespace talvora::dsp {

// Rows of doubles that begin on a cache line; what they hold after growing is undefined.
class RowBuffer {
  public:
    double* reserve(std::size_t count);

  private:
    struct alignas(64) CacheLine {
        double values[8];
    };
    std::unique_ptr<CacheLine[]> lines_;
    std::size_t line_count_ = 0;
};

// What the passes work in; made once and used for any number of groups and filters.
// Grows to 16 MiB at most, whatever the length of the runs, and beyond that by one
// state of the filter for every 4 MiB of samples or less.
struct LaneScratch {
    RowBuffer rows;
    RowBuffer block;
    std::vector<double> forward_state;
    std::vector<double> backward_state;
    std::vector<double> checkpoints;
};

// Filters one to MAX_LANE_COUNT runs in place: the longest first, each of at least
// 3 * tap_count - 1 samples. The filter has two taps or more.
//
// The forward pass is kept in double for the backward pass. Runs longer than the
// scratch holds are cut into segments: a first forward pass keeps the state before
// each, then each segment, from the last to the first, is filtered forward again and
// backward.
void filter_side_by_side(std::span<const std::span<float>> runs, const PreparedFilter& filter,
                         const LaneKernels& kernels, LaneScratch& scratch);

} // namespace talvora::dsp
