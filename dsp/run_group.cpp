#include "dsp/run_group.h"

#include "dsp/filter_sample.h"
#include "dsp/made_samples.h"
#include "dsp/odd_reflection.h"
#include "dsp/tile_pass.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace talvora::dsp {

namespace {

constexpr auto ROWS = static_cast<std::ptrdiff_t>(TILE_ROWS);

// The last rows are kept from pass to pass, up to so many doubles: where a forward pass takes
// little time as much as leaves the second-level cache to the samples, elsewhere as much as comes
// back from beyond it in less time than the pass again. Segments before them stay in the
// second-level cache.
template <class Sample>
std::ptrdiff_t max_kept_doubles(const LaneKernels<Sample>& kernels, std::size_t tap_count,
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
template <class Sample>
class GroupPasses {
  public:
    GroupPasses(Runs<Sample> runs, Runs<Sample> next, const PreparedFilter& filter,
                const LaneKernels<Sample>& kernels, LaneScratch& scratch)
        : runs_(runs), filter_(filter), left_out_(filter.pad_count() == 0 ? 1 : 0),
          lane_count_(kernels.lane_count(filter.tap_count(), runs.size())),
          forward_(filter, kernels, lane_count_, scratch.forward),
          backward_(filter, kernels, lane_count_, scratch.backward),
          step_(static_cast<std::ptrdiff_t>(lane_count_)), tile_count_(tiles_for(length_of(0))),
          kept_tile_count_(
              tiles_of(max_kept_doubles(kernels, filter.tap_count(), lane_count_), step_)),
          segment_tile_count_(tiles_of(SEGMENT_DOUBLES, step_)),
          is_in_copies_(length_of(0) < ROWS && count_live(0) == count_lanes_of(length_of(0))),
          next_(length_of(0) <= MAX_LENGTH_ASKED_FOR ? next : Runs<Sample>()),
          padding_(scratch.padding.reserve(count_turn_rows() * lane_count_)),
          rows_(scratch.rows.reserve(
              static_cast<std::size_t>(std::min(tile_count_, kept_tile_count_) * ROWS * step_))),
          states_(scratch.states), ends_(scratch.ends), turns_(scratch.turns),
          lane_state_(scratch.lane_state), pauses_(scratch.pauses) {
        ends_.resize(forward_.state().size());
        turns_.resize(forward_.state().size());
        lane_state_.resize(filter.tap_count() - 1);
        for (std::size_t lane = 0; is_in_copies_ && lane < runs_.size(); ++lane) {
            std::copy_n(runs_[lane].from, length_of(lane), copy_of(lane));
        }
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
        for (std::size_t lane = 0; is_in_copies_ && lane < runs_.size(); ++lane) {
            std::copy_n(copy_of(lane), length_of(lane), runs_[lane].to);
        }
        return true;
    }

  private:
    // What is asked for of the next runs, if anything is, where they are read or written. Runs that
    // follow each other in the memory are asked for in its order, with each tile as many cache
    // lines as there are lanes; others all at once, from the first sample to the last.
    template <class Line>
    std::optional<UpcomingLines<Sample>> next_lines_at(std::ptrdiff_t tile,
                                                       Line* Run<Sample>::*place) const {
        if (next_.empty()) {
            return std::nullopt;
        }
        const std::size_t last = std::min(lane_count_, next_.size()) - 1;
        const Sample* const first = next_[0].*place;
        const bool is_one_piece = next_[last].*place == first + as_step(last * runs_[0].length);
        UpcomingLines<Sample> upcoming{{}, is_one_piece ? ROWS * step_ : ROWS};
        for (std::size_t lane = 0; lane < MAX_LANE_COUNT; ++lane) {
            upcoming.lines[lane] =
                (is_one_piece ? first + as_step(lane) * ROWS : next_[std::min(lane, last)].*place) +
                tile * upcoming.step;
        }
        return upcoming;
    }

    const Run<Sample>& run_of(std::size_t lane) const {
        return runs_[std::min(lane, runs_.size() - 1)];
    }
    // What tiles hold of a run: none where there is no run.
    std::ptrdiff_t length_of(std::size_t lane) const {
        return lane < runs_.size() ? length_of(runs_[lane]) : 0;
    }
    std::ptrdiff_t length_of(const Run<Sample>& run) const {
        return static_cast<std::ptrdiff_t>(run.length - left_out_);
    }
    // Lanes are in the order of their lengths.
    std::size_t count_lanes_of(std::ptrdiff_t length) const {
        const auto end = std::ranges::partition_point(
            runs_, [length, this](const Run<Sample>& run) { return length_of(run) >= length; });
        return static_cast<std::size_t>(end - runs_.begin());
    }
    // Those that have samples in a tile, and those that fill it.
    std::size_t count_live(std::ptrdiff_t tile) const { return count_lanes_of(tile * ROWS + 1); }
    std::size_t count_whole(std::ptrdiff_t tile) const { return count_lanes_of((tile + 1) * ROWS); }

    // Tiles reach back before lines of less than a tile: these are filtered in copies.
    Sample* copy_of(std::size_t lane) { return spare_[lane].data() + ROWS - length_of(lane); }
    // Where runs are read or written, as `place` of them tells.
    template <class Line>
    LaneLines<Line> lines_at(std::ptrdiff_t tile, Line* Run<Sample>::*place) {
        const std::size_t live_count = count_live(tile);
        LaneLines<Line> lines;
        for (std::size_t lane = 0; lane < MAX_LANE_COUNT; ++lane) {
            const std::size_t live = std::min(lane, live_count - 1);
            lines[lane] = (is_in_copies_ ? copy_of(live) : runs_[live].*place) + tile * ROWS;
        }
        return lines;
    }

    // Lanes of a state, as TilePass has it.
    void copy_lanes(std::size_t first, std::size_t last, std::span<const double> from,
                    std::span<double> to) const {
        for (std::size_t row = 0; row < to.size(); row += lane_count_) {
            std::copy(&from[row] + first, &from[row] + last, &to[row] + first);
        }
    }

    // Padding before the runs. Those that have nothing for the tiles end there.
    void lead_in() {
        for (std::size_t lane = 0; lane < lane_count_; ++lane) {
            padding_[lane] =
                static_cast<double>(run_of(lane).source().front()); // where none is added
            reflect_before(run_of(lane).source(), filter_.pad_count(), padding_ + lane,
                           lane_count_);
        }
        forward_.put_to_rest(padding_);
        forward_.filter_rows(padding_, filter_.pad_count(), step_);
        const std::size_t live_count = count_live(0);
        copy_lanes(live_count, lane_count_, forward_.state(), ends_);
        if (live_count > 0) {
            follow_last(live_count, forward_);
        }
    }

    // What follows the tiles, forward and back.
    std::size_t count_turn_rows() const { return left_out_ + filter_.pad_count(); }
    void turn() {
        for (std::size_t lane = 0; lane < lane_count_; ++lane) {
            padding_[lane] =
                static_cast<double>(run_of(lane).source().back()); // where it was left out
            reflect_after(run_of(lane).source(), filter_.pad_count(), padding_ + lane, lane_count_);
        }
        std::ranges::copy(ends_, backward_.state().begin());
        follow_last(runs_.size(), backward_);
        backward_.filter_rows(padding_, count_turn_rows(), step_);
        double* const last_row = padding_ + (count_turn_rows() - 1) * lane_count_;
        backward_.put_to_rest(last_row);
        backward_.filter_rows(last_row, count_turn_rows(), -step_);
        std::ranges::copy(backward_.state(), turns_.begin());
        for (std::size_t lane = 0; left_out_ > 0 && lane < runs_.size(); ++lane) {
            runs_[lane].target().back() = narrowed_sample<Sample>(padding_[lane]);
        }
    }

    void follow_last(std::size_t live_count, TilePass<Sample>& pass) const {
        for (std::size_t lane = live_count; lane < lane_count_; ++lane) {
            pass.copy_lane_state(live_count - 1, lane);
        }
    }

    bool has_missing_end() const {
        return std::any_of(ends_.begin(), ends_.begin() + as_step(runs_.size()),
                           [](double value) { return std::isnan(value); }) ||
               (left_out_ > 0 && std::ranges::any_of(runs_, [](const Run<Sample>& run) {
                    return std::isnan(run.source().back());
                }));
    }

    void keep_forward_state() {
        states_.insert(states_.end(), forward_.state().begin(), forward_.state().end());
    }
    void restore_forward_state() {
        const auto kept = states_.end() - static_cast<std::ptrdiff_t>(forward_.state().size());
        std::copy(kept, states_.end(), forward_.state().begin());
        states_.erase(kept, states_.end());
    }

    // Tiles [first, last), to rows if there are any. Between the tiles in which lanes end they
    // are passed many at a time.
    void filter_forward(std::ptrdiff_t first, std::ptrdiff_t last, double* rows) {
        pauses_.pass(static_cast<std::size_t>((last - first) * ROWS * step_));
        for (std::ptrdiff_t tile = first, end = 0; tile < last; tile = end) {
            double* const out = rows != nullptr ? rows + (tile - first) * ROWS * step_ : nullptr;
            end = std::min(last, end_of_tiles(count_live(tile)));
            if (end > tile) {
                filter_tiles_forward(tile, end, out);
            } else {
                end = tile + 1;
                filter_ragged_tile_forward(tile, out);
            }
            if (end * ROWS < length_of(0)) {
                follow_last(count_live(end), forward_);
            }
        }
    }

    // As far as so many lanes go together: up to where the first of them ends. A tile that they
    // all leave half empty reaches back into the one before.
    std::ptrdiff_t end_of_tiles(std::size_t live_count) const {
        const std::ptrdiff_t length = length_of(live_count - 1);
        return length == length_of(0) ? tiles_for(length) : length / ROWS;
    }

    // The rows of these tiles that the first lane has.
    std::ptrdiff_t count_rows(std::ptrdiff_t first, std::ptrdiff_t last) const {
        return std::min(last * ROWS, length_of(0)) - first * ROWS;
    }

    void filter_tiles_forward(std::ptrdiff_t first, std::ptrdiff_t last, double* rows) {
        const LaneLines<const Sample> lines = lines_at(first, &Run<Sample>::from);
        const UpcomingLines<Sample> behind{shift_lines(lines, SAMPLES_AHEAD)};
        const auto next = next_lines_at(first, &Run<Sample>::from);
        const auto wanted = rows != nullptr ? next.value_or(behind) : behind;
        forward_.filter_forward(lines, count_rows(first, last), rows, &wanted);
        copy_lanes(count_live(last), count_live(first), forward_.state(), ends_);
    }

    // Lanes that end within the tile read a copy, and come to their ends by themselves.
    void filter_ragged_tile_forward(std::ptrdiff_t tile, double* rows) {
        const std::size_t live_count = count_live(tile);
        LaneLines<const Sample> lines = lines_at(tile, &Run<Sample>::from);
        for (std::size_t lane = count_whole(tile); lane < live_count; ++lane) {
            const std::span<const Sample> rest(lines[lane], runs_[lane].from + length_of(lane));
            std::fill(std::ranges::copy(rest, spare_[lane].begin()).out, spare_[lane].end(),
                      rest.back());
            lines[lane] = spare_[lane].data();
            forward_.get_lane_state(lane, lane_state_);
            for (const Sample sample : rest) {
                filter_sample(filter_.b, filter_.a, lane_state_, static_cast<double>(sample));
            }
            for (std::size_t i = 0; i < lane_state_.size(); ++i) {
                ends_[i * lane_count_ + lane] = lane_state_[i];
            }
        }
        std::fill(lines.begin() + as_step(live_count), lines.end(), lines[live_count - 1]);
        forward_.filter_forward(lines, ROWS, rows);
        copy_lanes(count_live(tile + 1), count_whole(tile), forward_.state(), ends_);
    }

    // Back over the rows of filter_forward, and to the samples.
    void filter_backward(std::ptrdiff_t first, std::ptrdiff_t last) {
        for (std::ptrdiff_t end = last, tile = 0; end > first; end = tile) {
            const std::size_t live_count = count_live(end - 1);
            const bool go_together = end_of_tiles(live_count) >= end;
            copy_lanes(count_live(end), go_together ? live_count : count_whole(end - 1), turns_,
                       backward_.state());
            follow_last(live_count, backward_);
            tile = go_together ? std::max(first, tiles_for(length_of(live_count))) : end - 1;
            double* const rows = rows_ + (tile - first) * ROWS * step_;
            if (go_together) {
                filter_tiles_backward(tile, end, rows);
            } else {
                filter_ragged_tile_backward(tile, rows);
            }
        }
    }

    void filter_tiles_backward(std::ptrdiff_t first, std::ptrdiff_t last, double* rows) {
        const LaneLines<Sample> lines = lines_at(first, &Run<Sample>::to);
        const UpcomingLines<Sample> before{shift_lines(read_only(lines), -SAMPLES_AHEAD)};
        const auto wanted = next_lines_at(first, &Run<Sample>::to).value_or(before);
        backward_.filter_backward(rows, count_rows(first, last), &lines, &wanted);
    }

    // Lanes that end within the tile write elsewhere, and come in by themselves.
    void filter_ragged_tile_backward(std::ptrdiff_t tile, double* rows) {
        const std::size_t live_count = count_live(tile);
        LaneLines<Sample> lines = lines_at(tile, &Run<Sample>::to);
        for (std::size_t lane = count_whole(tile); lane < live_count; ++lane) {
            lines[lane] = spare_[lane].data();
        }
        std::fill(lines.begin() + as_step(live_count), lines.end(), lines[live_count - 1]);
        backward_.filter_backward(rows, ROWS, &lines);
        for (std::size_t lane = count_whole(tile); lane < live_count; ++lane) {
            for (std::size_t i = 0; i < lane_state_.size(); ++i) {
                lane_state_[i] = turns_[i * lane_count_ + lane];
            }
            for (std::ptrdiff_t row = length_of(lane) - tile * ROWS; row-- > 0;) {
                const double sample = filter_sample(filter_.b, filter_.a, lane_state_,
                                                    rows[row * step_ + as_step(lane)]);
                runs_[lane].to[tile * ROWS + row] = narrowed_sample<Sample>(sample);
            }
            backward_.set_lane_state(lane, lane_state_);
        }
    }

    static std::ptrdiff_t as_step(std::size_t count) { return static_cast<std::ptrdiff_t>(count); }

    Runs<Sample> runs_;
    const PreparedFilter& filter_;
    std::size_t left_out_; // of each run: its last sample, at which a run without padding turns
    std::size_t lane_count_;
    TilePass<Sample> forward_;
    TilePass<Sample> backward_;
    std::ptrdiff_t step_; // from row to row
    std::ptrdiff_t tile_count_;
    std::ptrdiff_t kept_tile_count_;
    std::ptrdiff_t segment_tile_count_;
    bool is_in_copies_;
    Runs<Sample> next_; // if they are asked for
    double* padding_;
    double* rows_;
    std::vector<double>& states_;
    std::vector<double>& ends_;  // the state of each lane where the forward pass leaves its run
    std::vector<double>& turns_; // and where the backward pass meets it
    std::vector<double>& lane_state_;
    Pauses& pauses_;
    std::array<std::array<Sample, TILE_ROWS>, MAX_LANE_COUNT> spare_;
};

} // namespace

template <class Sample>
bool run_group(Runs<Sample> runs, Runs<Sample> next, const PreparedFilter& filter,
               const LaneKernels<Sample>& kernels, LaneScratch& scratch, Searched searched) {
    return GroupPasses<Sample>(runs, next, filter, kernels, scratch).run(searched);
}

template bool run_group(Runs<float>, Runs<float>, const PreparedFilter&, const LaneKernels<float>&,
                        LaneScratch&, Searched);
template bool run_group(Runs<double>, Runs<double>, const PreparedFilter&,
                        const LaneKernels<double>&, LaneScratch&, Searched);

} // namespace talvora::dsp
