#include "dsp/lane_filter.h"

#include <algorithm>

namespace talvora::dsp {

namespace {

// Leaves a megabyte of the sixteen to a block of rows, the states and the caller's lists.
constexpr std::size_t MAX_ROW_BYTES = 15U << 20U;

class GroupPasses {
  public:
    GroupPasses(std::span<const std::span<float>> runs, const PreparedFilter& filter,
                const LaneKernels& kernels, LaneScratch& scratch)
        : group_(runs, filter.pad_count(), kernels), filter_(filter), kernels_(kernels),
          lane_count_(group_.lane_count()), scratch_(scratch),
          segment_row_count_(
              std::min(MAX_ROW_BYTES / (lane_count_ * sizeof(double)), group_.row_count())) {}

    void run() {
        prepare_scratch();
        std::size_t first = filter_up_to_last_segment();
        std::size_t last = group_.row_count();
        for (;;) {
            filter_forward_and_keep(first, last);
            filter_backward(first, last);
            if (first == 0) {
                return;
            }
            last = first;
            first -= segment_row_count_;
            restore_forward_state();
        }
    }

  private:
    void prepare_scratch() {
        const std::size_t state_size = filter_.steady_state.size() * lane_count_;
        scratch_.forward_state.assign(state_size, 0.0);
        scratch_.backward_state.assign(state_size, 0.0);
        scratch_.checkpoints.clear();
        rows_ = scratch_.rows.reserve(segment_row_count_ * lane_count_);
        block_ = scratch_.block.reserve(BLOCK_ROW_COUNT * lane_count_);
        for (std::size_t lane = 0; lane < lane_count_; ++lane) {
            start_lane(lane, group_.extended_sample(lane, 0), scratch_.forward_state);
        }
    }

    // The state of a lane at rest on its first sample.
    void start_lane(std::size_t lane, double first_sample, std::vector<double>& state) const {
        for (std::size_t i = 0; i < filter_.steady_state.size(); ++i) {
            state[i * lane_count_ + lane] = filter_.steady_state[i] * first_sample;
        }
    }

    // Runs the forward pass for its states alone; gives where the last segment begins.
    std::size_t filter_up_to_last_segment() {
        std::size_t first = 0;
        for (; first + segment_row_count_ < group_.row_count(); first += segment_row_count_) {
            keep_forward_state();
            const std::size_t last = first + segment_row_count_;
            for (std::size_t row = first, end = 0; row < last; row = end) {
                end = std::min(group_.block_end(row), last);
                filter_block_forward(row, end, block_);
            }
        }
        return first;
    }

    void filter_forward_and_keep(std::size_t first, std::size_t last) {
        for (std::size_t row = first, end = 0; row < last; row = end) {
            end = std::min(group_.block_end(row), last);
            filter_block_forward(row, end, rows_ + (row - first) * lane_count_);
        }
    }

    // In place: the rows are still in the first-level cache when the filter meets them.
    void filter_block_forward(std::size_t first, std::size_t last, double* rows) {
        group_.load_rows(first, last, rows);
        kernels_.filter_rows(pass(rows, rows, last - first, 1, scratch_.forward_state));
    }

    // Lanes begin at their own ends, one after the other; padding before the first sample
    // need not be filtered.
    void filter_backward(std::size_t first, std::size_t last) {
        const std::size_t stop = std::max(first, group_.pad_count());
        for (std::size_t end = last, begin = 0; end > stop; end = begin) {
            start_lanes_that_end_at(end, rows_ + (end - 1 - first) * lane_count_);
            begin = std::max({group_.block_begin(end), last_lane_end_before(end), stop});
            filter_block_backward(begin, end, rows_ + (begin - first) * lane_count_);
        }
    }

    void filter_block_backward(std::size_t first, std::size_t last, const double* rows) {
        const std::size_t last_row = (last - first - 1) * lane_count_;
        kernels_.filter_rows(
            pass(rows + last_row, block_ + last_row, last - first, -1, scratch_.backward_state));
        group_.store_rows(first, last, block_);
    }

    void start_lanes_that_end_at(std::size_t end, const double* last_row) {
        for (std::size_t lane = 0; lane < lane_count_; ++lane) {
            if (group_.end_row(lane) == end) {
                start_lane(lane, last_row[lane], scratch_.backward_state);
            }
        }
    }

    // Lanes are sorted by their ends, the last one first.
    std::size_t last_lane_end_before(std::size_t row) const {
        for (std::size_t lane = 0; lane < lane_count_; ++lane) {
            if (group_.end_row(lane) < row) {
                return group_.end_row(lane);
            }
        }
        return 0;
    }

    RowPass pass(const double* in, double* out, std::size_t row_count, int direction,
                 std::vector<double>& state) const {
        return {.b = filter_.b.data(),
                .a = filter_.a.data(),
                .tap_count = filter_.tap_count(),
                .lane_count = lane_count_,
                .state = state.data(),
                .in = in,
                .out = out,
                .row_step = direction * static_cast<std::ptrdiff_t>(lane_count_),
                .row_count = row_count};
    }

    void keep_forward_state() {
        scratch_.checkpoints.insert(scratch_.checkpoints.end(), scratch_.forward_state.begin(),
                                    scratch_.forward_state.end());
    }

    void restore_forward_state() {
        const auto size = static_cast<std::ptrdiff_t>(scratch_.forward_state.size());
        const auto kept = scratch_.checkpoints.end() - size;
        std::copy(kept, scratch_.checkpoints.end(), scratch_.forward_state.begin());
        scratch_.checkpoints.erase(kept, scratch_.checkpoints.end());
    }

    LaneGroup group_;
    const PreparedFilter& filter_;
    const LaneKernels& kernels_;
    std::size_t lane_count_;
    LaneScratch& scratch_;
    std::size_t segment_row_count_;
    double* rows_ = nullptr;
    double* block_ = nullptr;
};

} // namespace

double* RowBuffer::reserve(std::size_t count) {
    constexpr std::size_t PER_LINE = sizeof(CacheLine) / sizeof(double);
    const std::size_t line_count = (count + PER_LINE - 1) / PER_LINE;
    if (line_count > line_count_) {
        lines_.reset();
        lines_ = std::make_unique_for_overwrite<CacheLine[]>(line_count);
        line_count_ = line_count;
    }
    return lines_[0].values;
}

void filter_side_by_side(std::span<const std::span<float>> runs, const PreparedFilter& filter,
                         const LaneKernels& kernels, LaneScratch& scratch) {
    GroupPasses(runs, filter, kernels, scratch).run();
}

} // namespace talvora::dsp
