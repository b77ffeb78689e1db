#include "dsp/run_group.h"

#include "dsp/odd_reflection.h"
#include "dsp/tile_pass.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace talvora::dsp {

namespace {

constexpr auto ROWS = static_cast<std::ptrdiff_t>(TILE_ROWS);

// The last rows are kept from pass to pass, up to so many doubles: where a forward pass takes
// little time as much as leaves the second-level cache to the samples, elsewhere as much as comes
// back from beyond it in less time than the pass again. Segments before them stay in the
// second-level cache.
std::ptrdiff_t max_kept_doubles(const LaneKernels<float>& kernels, std::size_t tap_count,
                                std::size_t lane_count) {
    const bool passes_fast = kernels.width > 2 && tap_count <= 6 &&
                             lane_count == kernels.lane_count(tap_count, MAX_LANE_COUNT);
    return passes_fast ? 64 << 10 : 512 << 10;
}
constexpr std::ptrdiff_t SEGMENT_DOUBLES = 32 << 10;

// Runs up to this length are asked of the memory while those before them are filtered; of longer
// ones the samples would be gone again.
constexpr std::ptrdiff_t MAX_LENGTH_ASKED_FOR = 8192;
// How far ahead long runs are asked for, in the direction of the pass.
constexpr std::ptrdiff_t SAMPLES_AHEAD = 128;

// Whole tiles that are silent are passed by threes.
constexpr std::ptrdiff_t tiles_of(std::ptrdiff_t doubles, std::ptrdiff_t lane_count) {
    constexpr auto REST = static_cast<std::ptrdiff_t>(REST_ROWS);
    return std::max<std::ptrdiff_t>(doubles / lane_count / REST, 1) * REST / ROWS;
}

constexpr std::ptrdiff_t tiles_for(std::ptrdiff_t length) {
    return (length + ROWS - 1) / ROWS;
}

// All lanes begin at tile 0, and the first one is the last to end. A lane that has ended, or that
// no run was left for, is the last one that goes on once more: it has its state, and reads and
// writes its samples. So none fades into denormal numbers by itself.
class GroupPasses {
  public:
    GroupPasses(Runs runs, Runs next, const PreparedFilter& filter,
                const LaneKernels<float>& kernels, LaneScratch& scratch)
        : runs_(runs), filter_(filter),
          lane_count_(kernels.lane_count(filter.tap_count(), runs.size())),
          forward_(filter, kernels, lane_count_, scratch.forward),
          backward_(filter, kernels, lane_count_, scratch.backward),
          step_(static_cast<std::ptrdiff_t>(lane_count_)), tile_count_(tiles_for(length_of(0))),
          kept_tile_count_(
              tiles_of(max_kept_doubles(kernels, filter.tap_count(), lane_count_), step_)),
          segment_tile_count_(tiles_of(SEGMENT_DOUBLES, step_)),
          asks_for_next_(!next.empty() && length_of(0) <= MAX_LENGTH_ASKED_FOR),
          padding_(scratch.padding.reserve(filter.pad_count() * lane_count_)),
          rows_(scratch.rows.reserve(
              static_cast<std::size_t>(std::min(tile_count_, kept_tile_count_) * ROWS * step_))),
          states_(scratch.states), ends_(scratch.ends), turns_(scratch.turns) {
        for (std::size_t lane = 0; asks_for_next_ && lane < MAX_LANE_COUNT; ++lane) {
            next_[lane] = next[std::min(lane, next.size() - 1)].data();
        }
        ends_.resize(forward_.state().size());
        turns_.resize(forward_.state().size());
    }

    bool run(Searched searched) {
        lead_in();
        states_.clear();
        std::ptrdiff_t first = 0;
        for (; first + kept_tile_count_ < tile_count_; first += segment_tile_count_) {
            keep_forward_state();
            filter_forward(first, first + segment_tile_count_, nullptr);
            if (searched == Searched::No && forward_.has_met_missing()) {
                return false;
            }
        }
        filter_forward(first, tile_count_, rows_);
        if (searched == Searched::No && has_missing_end()) {
            return false;
        }
        turn();
        filter_backward(first, tile_count_);
        while (first > 0) {
            const std::ptrdiff_t last = first;
            first -= segment_tile_count_;
            restore_forward_state();
            filter_forward(first, last, rows_);
            filter_backward(first, last);
        }
        return true;
    }

  private:
    std::span<float> run_of(std::size_t lane) const {
        return runs_[std::min(lane, runs_.size() - 1)];
    }
    // None where there is no run.
    std::ptrdiff_t length_of(std::size_t lane) const {
        return lane < runs_.size() ? static_cast<std::ptrdiff_t>(runs_[lane].size()) : 0;
    }
    // Lanes are in the order of their lengths.
    std::size_t count_lanes_of(std::ptrdiff_t length) const {
        std::size_t count = 0;
        while (count < lane_count_ && length_of(count) >= length) {
            ++count;
        }
        return count;
    }

    LaneLines lines_at(std::ptrdiff_t row) const {
        const std::size_t live_count = count_lanes_of(row + 1);
        LaneLines lines;
        for (std::size_t lane = 0; lane < MAX_LANE_COUNT; ++lane) {
            lines[lane] = run_of(std::min(lane, live_count - 1)).data() + row;
        }
        return lines;
    }

    // Of the vectors of states that runs have at their ends, that of a lane.
    std::span<double> state_in(std::vector<double>& states, std::size_t lane) const {
        const std::size_t order = filter_.tap_count() - 1;
        return std::span(states).subspan(std::min(lane, runs_.size() - 1) * order, order);
    }
    std::span<double> end_of(std::size_t lane) { return state_in(ends_, lane); }
    std::span<double> turn_of(std::size_t lane) { return state_in(turns_, lane); }

    // Padding before the runs.
    void lead_in() {
        for (std::size_t lane = 0; lane < lane_count_; ++lane) {
            reflect_before(run_of(lane), filter_.pad_count(), padding_ + lane, lane_count_);
            forward_.put_to_rest(lane, padding_[lane]);
        }
        forward_.filter_rows(padding_, filter_.pad_count(), step_);
    }

    // Padding after the runs, forward and back.
    void turn() {
        for (std::size_t lane = 0; lane < lane_count_; ++lane) {
            reflect_after(run_of(lane), filter_.pad_count(), padding_ + lane, lane_count_);
            backward_.set_lane_state(lane, end_of(lane));
        }
        backward_.filter_rows(padding_, filter_.pad_count(), step_);
        double* const last_row = padding_ + (filter_.pad_count() - 1) * lane_count_;
        for (std::size_t lane = 0; lane < lane_count_; ++lane) {
            backward_.put_to_rest(lane, last_row[lane]);
        }
        backward_.filter_rows(last_row, filter_.pad_count(), -step_);
        for (std::size_t lane = 0; lane < runs_.size(); ++lane) {
            backward_.get_lane_state(lane, turn_of(lane));
        }
    }

    void follow_last(std::size_t live_count, TilePass& pass) const {
        for (std::size_t lane = live_count; lane < lane_count_; ++lane) {
            pass.copy_lane_state(live_count - 1, lane);
        }
    }

    bool has_missing_end() {
        for (std::size_t lane = 0; lane < runs_.size(); ++lane) {
            if (std::isnan(end_of(lane).front())) {
                return true;
            }
        }
        return false;
    }

    void keep_forward_state() {
        states_.insert(states_.end(), forward_.state().begin(), forward_.state().end());
    }
    void restore_forward_state() {
        const auto kept = states_.end() - static_cast<std::ptrdiff_t>(forward_.state().size());
        std::copy(kept, states_.end(), forward_.state().begin());
        states_.erase(kept, states_.end());
    }

    // Samples of tiles [first, last), to rows if there are any. Between the ends of lanes whole
    // tiles are passed many at a time, and what is left row by row.
    void filter_forward(std::ptrdiff_t first, std::ptrdiff_t last, double* rows) {
        const std::ptrdiff_t begin = first * ROWS;
        const std::ptrdiff_t stop = std::min(last * ROWS, length_of(0));
        for (std::ptrdiff_t row = begin, end = 0; row < stop; row = end) {
            const std::size_t live_count = count_lanes_of(row + 1);
            double* const out = rows != nullptr ? rows + (row - begin) * step_ : nullptr;
            end = std::min(stop, length_of(live_count - 1));
            if (row % ROWS == 0 && end - row >= ROWS) {
                end -= end % ROWS;
                filter_tiles_forward(row, end, out);
            } else {
                end = std::min(end, row - row % ROWS + ROWS);
                filter_rows_forward(row, end, out != nullptr ? out : spare_rows_.data());
            }
            for (std::size_t lane = 0; lane < live_count; ++lane) {
                if (length_of(lane) == end) {
                    forward_.get_lane_state(lane, end_of(lane));
                }
            }
            if (end < length_of(0)) {
                follow_last(count_lanes_of(end + 1), forward_);
            }
        }
    }

    void filter_tiles_forward(std::ptrdiff_t begin, std::ptrdiff_t end, double* rows) {
        const LaneLines lines = lines_at(begin);
        const bool asks = rows == nullptr || asks_for_next_;
        const LaneLines wanted = asks ? shift_lines(rows == nullptr ? lines : next_,
                                                    rows == nullptr ? SAMPLES_AHEAD : begin)
                                      : lines;
        forward_.filter_forward(lines, (end - begin) / ROWS, rows, asks ? &wanted : nullptr);
    }

    void filter_rows_forward(std::ptrdiff_t begin, std::ptrdiff_t end, double* rows) {
        const LaneLines lines = lines_at(begin);
        for (std::ptrdiff_t row = 0; row < end - begin; ++row) {
            for (std::size_t lane = 0; lane < lane_count_; ++lane) {
                rows[row * step_ + as_step(lane)] = static_cast<double>(lines[lane][row]);
            }
        }
        forward_.filter_rows(rows, static_cast<std::size_t>(end - begin), step_);
    }

    // Back over the rows of filter_forward, and to the samples.
    void filter_backward(std::ptrdiff_t first, std::ptrdiff_t last) {
        const std::ptrdiff_t begin = first * ROWS;
        for (std::ptrdiff_t end = std::min(last * ROWS, length_of(0)), row = 0; end > begin;
             end = row) {
            const std::size_t live_count = count_lanes_of(end);
            for (std::size_t lane = 0; lane < live_count; ++lane) {
                if (length_of(lane) == end) {
                    backward_.set_lane_state(lane, turn_of(lane));
                }
            }
            follow_last(live_count, backward_);
            row = std::max(begin, length_of(live_count));
            if (end % ROWS == 0 && end - row >= ROWS) {
                row = tiles_for(row) * ROWS;
                filter_tiles_backward(row, end, rows_ + (row - begin) * step_);
            } else {
                row = std::max(row, (tiles_for(end) - 1) * ROWS);
                filter_rows_backward(row, end, rows_ + (row - begin) * step_);
            }
        }
    }

    void filter_tiles_backward(std::ptrdiff_t begin, std::ptrdiff_t end, double* rows) {
        const LaneLines lines = lines_at(begin);
        const LaneLines wanted = shift_lines(lines, -SAMPLES_AHEAD);
        backward_.filter_backward(rows, (end - begin) / ROWS, &lines, &wanted);
    }

    void filter_rows_backward(std::ptrdiff_t begin, std::ptrdiff_t end, double* rows) {
        const std::ptrdiff_t row_count = end - begin;
        backward_.filter_rows(rows + (row_count - 1) * step_, static_cast<std::size_t>(row_count),
                              -step_);
        const LaneLines lines = lines_at(begin);
        for (std::ptrdiff_t row = 0; row < row_count; ++row) {
            for (std::size_t lane = 0; lane < lane_count_; ++lane) {
                lines[lane][row] = static_cast<float>(rows[row * step_ + as_step(lane)]);
            }
        }
    }

    static std::ptrdiff_t as_step(std::size_t count) { return static_cast<std::ptrdiff_t>(count); }

    Runs runs_;
    const PreparedFilter& filter_;
    std::size_t lane_count_;
    TilePass forward_;
    TilePass backward_;
    std::ptrdiff_t step_; // from row to row
    std::ptrdiff_t tile_count_;
    std::ptrdiff_t kept_tile_count_;
    std::ptrdiff_t segment_tile_count_;
    bool asks_for_next_;
    LaneLines next_{};
    double* padding_;
    double* rows_;
    std::vector<double>& states_;
    std::vector<double>& ends_;  // of the forward pass, lane by lane
    std::vector<double>& turns_; // where the backward pass meets the runs
    std::array<double, TILE_ROWS * MAX_LANE_COUNT> spare_rows_;
};

} // namespace

bool run_group(Runs runs, Runs next, const PreparedFilter& filter,
               const LaneKernels<float>& kernels, LaneScratch& scratch, Searched searched) {
    return GroupPasses(runs, next, filter, kernels, scratch).run(searched);
}

} // namespace talvora::dsp
