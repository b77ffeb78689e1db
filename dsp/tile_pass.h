// One pass of a filter over tiles of samples, and its state in every lane from call to call.
//
// Silence costs no arithmetic. After a few hundred exact zeros the state of a filter is
// made of denormal numbers, on which many processors are fifty times slower, and in
// silence it soon repeats: it stands still or turns in a short cycle. A lane that comes back to
// the state and the input that left its state as it was has the same output again, which is
// copied, and remains that of the plain loop to the last bit of the smallest denormal; the lane
// itself computes what a lane with a signal does.
#pragma once

#include "dsp/lane_kernels.h"
#include "dsp/lane_scratch.h"
#include "dsp/zero_phase_filter.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

namespace talvora::dsp {

// For each lane the address of a sample: const floats or doubles where lines are read.
template <class Sample>
using LaneLines = std::array<Sample*, MAX_LANE_COUNT>;

// The same lines some samples on, or back.
template <class Sample>
LaneLines<Sample> shift_lines(LaneLines<Sample> lines, std::ptrdiff_t sample_count) {
    for (Sample*& line : lines) {
        line += sample_count;
    }
    return lines;
}

template <class Sample>
LaneLines<const Sample> read_only(const LaneLines<Sample>& lines) {
    LaneLines<const Sample> result;
    std::ranges::copy(lines, result.begin());
    return result;
}

// As in Upcoming: with the tile after it, by default, the samples that follow.
template <class Sample>
struct UpcomingLines {
    LaneLines<const Sample> lines;
    std::ptrdiff_t step = TILE_ROWS;
};

template <class Sample>
class TilePass {
  public:
    // Borrows all of them. The states are undefined.
    TilePass(const PreparedFilter& filter, const LaneKernels<Sample>& kernels,
             std::size_t lane_count, PassScratch& scratch);

    std::size_t lane_count() const { return lane_count_; }
    // tap_count - 1 rows.
    std::span<double> state() { return scratch_.state; }

    void put_to_rest(std::size_t lane, double input);
    // All lanes, with a row of inputs.
    void put_to_rest(const double* inputs);
    void get_lane_state(std::size_t lane, std::span<double> state) const;
    void set_lane_state(std::size_t lane, std::span<const double> state);
    void copy_lane_state(std::size_t from, std::size_t to);
    // Whether some lane has met a NaN, or made one of infinities.
    bool has_met_missing() const;

    // As in LaneKernels.
    void filter_forward(const LaneLines<const Sample>& lines, std::ptrdiff_t row_count,
                        double* rows, const UpcomingLines<Sample>* upcoming = nullptr);
    // Leaves the rows as they are.
    void filter_backward(double* rows, std::ptrdiff_t row_count, const LaneLines<Sample>* lines,
                         const UpcomingLines<Sample>* upcoming = nullptr);
    void filter_rows(double* rows, std::size_t row_count, std::ptrdiff_t row_step);

  private:
    bool is_faint() const;
    bool is_faint(std::size_t lane) const;
    template <class Block>
    bool pass_with_rests(Block block, bool all_repeated);
    template <class Block>
    bool repeats(const Block& block, std::size_t lane) const;
    template <class Block>
    void remember_rest(const Block& block, std::size_t lane);
    LaneFilter lane_filter();
    std::ptrdiff_t step() const { return static_cast<std::ptrdiff_t>(lane_count_); }

    const PreparedFilter& filter_;
    const LaneKernels<Sample>& kernels_;
    PassScratch& scratch_;
    std::size_t lane_count_;
    std::size_t order_;
};

} // namespace talvora::dsp
