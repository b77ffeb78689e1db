#include "dsp/lane_filter.h"

#include "dsp/block_passes.h"
#include "dsp/lane_group.h"

#include <algorithm>

namespace talvora::dsp {

namespace {

// The last rows are kept from pass to pass in the third-level cache, up to this size; beyond
// it, memory is slower than a second forward pass over segments that stay in the second-level
// cache.
constexpr std::ptrdiff_t MAX_KEPT_DOUBLES = 512 << 10;
constexpr std::ptrdiff_t SEGMENT_DOUBLES = 32 << 10;

constexpr auto BLOCK_ROWS = static_cast<std::ptrdiff_t>(BLOCK_ROW_COUNT);

// All lanes begin at row 0; the first one is the last to end.
class GroupPasses {
  public:
    GroupPasses(std::span<const std::span<float>> runs, const PreparedFilter& filter,
                const LaneKernels& kernels, LaneScratch& scratch)
        : group_(runs, filter.pad_count(), kernels), step_(as_step(group_.lane_count())),
          row_count_(group_.run(0).size()), samples_begin_(group_.run(0).samples_begin()),
          last_segment_row_count_(std::max(MAX_KEPT_DOUBLES / step_, fewest_rows())),
          segment_row_count_(std::max(SEGMENT_DOUBLES / step_, fewest_rows())),
          forward_(filter, kernels, group_.lane_count()),
          backward_(filter, kernels, group_.lane_count()),
          rows_(scratch.rows.reserve(
              static_cast<std::size_t>(std::min(row_count_, last_segment_row_count_) * step_))),
          block_(scratch.block.reserve(BLOCK_ROW_COUNT * group_.lane_count())),
          states_(scratch.states), upcoming_(scratch.upcoming) {}

    bool run(Searched searched) {
        for (std::size_t lane = 0; lane < group_.lane_count(); ++lane) {
            forward_.put_to_rest(lane, group_.run(lane)[0]);
        }
        states_.clear();
        std::ptrdiff_t first = 0;
        while (first + last_segment_row_count_ < row_count_) {
            pass_segment(first, first + segment_row_count_);
            first += segment_row_count_;
            if (has_to_stop(searched)) {
                return false;
            }
        }
        filter_forward(first, row_count_);
        if (has_to_stop(searched)) {
            return false;
        }
        filter_backward(first, row_count_);
        while (first > 0) {
            const std::ptrdiff_t last = first;
            first -= segment_row_count_;
            restore_forward_state();
            filter_forward(first, last);
            filter_backward(first, last);
        }
        return true;
    }

  private:
    static std::ptrdiff_t as_step(std::size_t count) { return static_cast<std::ptrdiff_t>(count); }

    // The padding before a run is made of samples that must still be there.
    std::ptrdiff_t fewest_rows() const { return 2 * samples_begin_ + 1; }

    bool has_to_stop(Searched searched) const {
        return searched == Searched::No && forward_.has_met_missing();
    }

    // Keeps the state before a segment, and passes over it for the state after it.
    void pass_segment(std::ptrdiff_t first, std::ptrdiff_t last) {
        states_.insert(states_.end(), forward_.state().begin(), forward_.state().end());
        for (std::ptrdiff_t row = first, end = 0; row < last; row = end) {
            end = std::min(row + BLOCK_ROWS, last);
            filter_block_forward(group_, forward_, row, end, block_);
        }
    }

    void restore_forward_state() {
        const auto kept = states_.end() - as_step(forward_.state().size());
        forward_.set_state({kept, states_.end()});
        states_.erase(kept, states_.end());
    }

    void filter_forward(std::ptrdiff_t first, std::ptrdiff_t last) {
        forward_.start_over();
        for (std::ptrdiff_t row = first, end = 0; row < last; row = end) {
            end = std::min(row + BLOCK_ROWS, last);
            filter_block_forward(group_, forward_, row, end, block_, rows_ + (row - first) * step_);
            upcoming_.prefetch(static_cast<std::size_t>((end - row) * step_));
        }
    }

    // Back over the rows of filter_forward, and to the samples.
    void filter_backward(std::ptrdiff_t first, std::ptrdiff_t last) {
        backward_.start_over();
        // Padding before the first sample need not be filtered backward.
        const std::ptrdiff_t stop = std::max(first, samples_begin_);
        for (std::ptrdiff_t end = last, begin = 0; end > stop; end = begin) {
            put_to_rest_lanes_that_end_at(end, rows_ + (end - 1 - first) * step_);
            begin = std::max({end - BLOCK_ROWS, last_lane_end_before(end), stop});
            filter_block_backward(backward_, rows_ + (begin - first) * step_, end - begin, block_);
            group_.store_rows(begin, end, block_);
        }
    }

    void put_to_rest_lanes_that_end_at(std::ptrdiff_t end, const double* last_row) {
        for (std::size_t lane = 0; lane < group_.lane_count(); ++lane) {
            if (group_.run(lane).size() == end) {
                backward_.put_to_rest(lane, last_row[lane]);
            }
        }
    }

    std::ptrdiff_t last_lane_end_before(std::ptrdiff_t row) const {
        for (std::size_t lane = 0; lane < group_.lane_count(); ++lane) {
            if (group_.run(lane).size() < row) {
                return group_.run(lane).size();
            }
        }
        return 0;
    }

    LaneGroup group_;
    std::ptrdiff_t step_;
    std::ptrdiff_t row_count_;
    std::ptrdiff_t samples_begin_;
    std::ptrdiff_t last_segment_row_count_;
    std::ptrdiff_t segment_row_count_;
    LanePass forward_;
    LanePass backward_;
    double* rows_;
    double* block_;
    std::vector<double>& states_;
    UpcomingSamples& upcoming_;
};

} // namespace

bool filter_side_by_side(std::span<const std::span<float>> runs, const PreparedFilter& filter,
                         const LaneKernels& kernels, LaneScratch& scratch, Searched searched) {
    return GroupPasses(runs, filter, kernels, scratch).run(searched);
}

} // namespace talvora::dsp
