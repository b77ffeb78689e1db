#include "dsp/long_run.h"

#include "dsp/made_samples.h"
#include "dsp/odd_reflection.h"
#include "dsp/one_lane.h"
#include "dsp/run_group.h"
#include "dsp/tile_pass.h"
#include "dsp/warm_up.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace talvora::dsp {

namespace {

// Parts and warm-ups are made of whole blocks of the lane that follows them in order.
constexpr auto BLOCK = static_cast<std::ptrdiff_t>(REST_ROWS);

// The rows of parts of this length stay in the second-level cache between the passes. A warm-up is
// work done twice: for a long one parts may be longer, as far as the rows that are kept.
constexpr std::ptrdiff_t PART_LENGTH = 4096 / BLOCK * BLOCK;
constexpr std::ptrdiff_t PARTS_PER_WARM_UP = 4;
constexpr std::ptrdiff_t MAX_KEPT_DOUBLES = 512 << 10;

// A guess that was not right after its warm-up is followed for so many times as long.
constexpr std::ptrdiff_t WARM_UPS_TO_MEET = 4;

// Whether a guess comes to the true state in the end depends on the filter. Of random designs with
// a warm-up no longer than this, 998 guesses in a thousand were right after it.
std::ptrdiff_t longest_sure_warm_up(const PreparedFilter& filter) {
    return filter.tap_count() <= 3 ? 1024 : 256;
}
// Guesses that are right for one filter in three, or in ten, are tried where little is lost by it;
// those for up to three taps are right in the end, and those for a longer memory hardly ever.
std::ptrdiff_t least_parts_per_warm_up(const PreparedFilter& filter, std::ptrdiff_t warm_up) {
    constexpr std::ptrdiff_t NEVER = std::numeric_limits<std::int32_t>::max();
    const std::ptrdiff_t longest_likely = filter.tap_count() <= 5 ? 1024 : 512;
    if (filter.tap_count() <= 3 || warm_up <= longest_sure_warm_up(filter)) {
        return 1;
    }
    if (warm_up <= longest_likely) {
        return PARTS_PER_WARM_UP;
    }
    return warm_up <= 2 * longest_likely ? 4 * PARTS_PER_WARM_UP : NEVER;
}
constexpr std::size_t FEWEST_SAMPLES_TO_CUT = 16U << 10U;

// How far ahead samples are asked of the memory, in the direction of the pass.
constexpr std::ptrdiff_t SAMPLES_AHEAD = 128;

constexpr std::ptrdiff_t whole_blocks(std::ptrdiff_t count) {
    return count / BLOCK * BLOCK;
}

// Parts of one length that follow each other, as many in a batch as there are lanes. The first
// forward pass takes `batch_count` of them in each lane, one after the other; batches are of parts
// side by side.
struct Cut {
    std::ptrdiff_t begin = 0;
    std::ptrdiff_t part_length = 0;
    std::ptrdiff_t batch_count = 0;
};

template <class Sample>
class LongRunPasses {
  public:
    LongRunPasses(const Run<Sample>& run, const PreparedFilter& filter,
                  const LaneKernels<Sample>& kernels, LaneScratch& scratch)
        : run_(run), filter_(filter),
          forward_(filter, kernels, all_lanes(filter, kernels), scratch.forward),
          backward_(filter, kernels, all_lanes(filter, kernels), scratch.backward),
          in_order_(filter), guessed_(filter), lane_count_(as_step(forward_.lane_count())),
          order_(filter.tap_count() - 1), states_(scratch.states), guesses_(scratch.ends),
          pauses_(scratch.pauses) {
        cut_into_parts();
        if (can_be_cut()) {
            // A row more than those of the parts: it is read past their end in a warm-up.
            const auto size = static_cast<std::size_t>(longest_part() * lane_count_);
            rows_ = scratch.rows.reserve(size + forward_.lane_count());
            std::fill_n(rows_ + size, lane_count_, 0.0);
        }
    }

    bool can_be_cut() const { return cut_count_ > 0; }

    bool run(Searched searched) {
        lead_in();
        states_.clear();
        for (std::size_t cut = 0; cut < cut_count_; ++cut) {
            states_.resize(states_.size() + order_ * count_parts(cuts_[cut]));
            const bool guesses = guesses_hold_;
            if (guesses) {
                guess_forward(cuts_[cut]);
                if (searched == Searched::No && forward_.has_met_missing()) {
                    return false;
                }
                forward_.get_lane_state(0, in_order_.state());
            }
            for (std::ptrdiff_t lane = guesses ? 1 : 0; lane < lane_count_; ++lane) {
                settle_forward(cuts_[cut], lane);
            }
        }
        filter_remainder_forward();
        if (searched == Searched::No && in_order_.has_met_missing()) {
            return false;
        }
        filter_remainder_backward();
        for (std::size_t cut = cut_count_; cut-- > 0;) {
            filter_cut(cuts_[cut]);
        }
        return true;
    }

  private:
    static std::size_t all_lanes(const PreparedFilter& filter, const LaneKernels<Sample>& kernels) {
        return kernels.lane_count(filter.tap_count(), MAX_LANE_COUNT);
    }
    static std::ptrdiff_t as_step(std::size_t count) { return static_cast<std::ptrdiff_t>(count); }

    // The padding after the run is made of samples behind the parts, and of the last one.
    void cut_into_parts() {
        const std::ptrdiff_t length = as_step(run_.length - filter_.pad_count()) - 1;
        const std::ptrdiff_t most = whole_blocks(MAX_KEPT_DOUBLES / lane_count_ - 1);
        const std::ptrdiff_t limit = std::min(length / lane_count_, most) - BLOCK;
        const std::ptrdiff_t warm_up = count_warm_up_samples(filter_, limit);
        const std::ptrdiff_t least = least_parts_per_warm_up(filter_, warm_up);
        warm_up_ = whole_blocks(warm_up + BLOCK - 1);
        guesses_hold_ = warm_up_ < limit && least * warm_up < limit;
        const std::ptrdiff_t wanted =
            guesses_hold_ ? std::clamp(PARTS_PER_WARM_UP * warm_up_, PART_LENGTH, most)
                          : PART_LENGTH;
        // One batch alone first: where its guesses are wrong, no others are made.
        const std::ptrdiff_t tried = guesses_hold_ && least > 1 ? 2 * warm_up_ : wanted;
        add_cut(std::min(length, tried * lane_count_), 1);
        add_cut(length, ((length - parts_end()) / lane_count_ + wanted - 1) / wanted);
        add_cut(length, 1);
    }

    // Of what is left of so many samples, if the parts are no shorter than a warm-up.
    void add_cut(std::ptrdiff_t length, std::ptrdiff_t batch_count) {
        const std::ptrdiff_t begin = parts_end();
        const std::ptrdiff_t parts = std::max<std::ptrdiff_t>(batch_count, 1) * lane_count_;
        const std::ptrdiff_t part_length = whole_blocks((length - begin) / parts);
        if (part_length > (guesses_hold_ ? warm_up_ : 0)) {
            cuts_[cut_count_++] = {begin, part_length, batch_count};
        }
    }

    std::ptrdiff_t parts_end() const {
        if (cut_count_ == 0) {
            return 0;
        }
        const Cut& last = cuts_[cut_count_ - 1];
        return last.begin + last.batch_count * lane_count_ * last.part_length;
    }

    std::ptrdiff_t longest_part() const {
        return std::ranges::max(cuts_, {}, &Cut::part_length).part_length;
    }

    // The samples of parts, `parts_apart` from lane to lane, where the run is read or written.
    template <class Line>
    LaneLines<Line> lines_of(Line* run, const Cut& cut, std::ptrdiff_t part,
                             std::ptrdiff_t parts_apart) const {
        LaneLines<Line> lines;
        lines.fill(run);
        for (std::ptrdiff_t lane = 0; lane < lane_count_; ++lane) {
            lines[static_cast<std::size_t>(lane)] +=
                cut.begin + (part + lane * parts_apart) * cut.part_length;
        }
        return lines;
    }

    std::size_t count_parts(const Cut& cut) const {
        return static_cast<std::size_t>(cut.batch_count * lane_count_);
    }
    std::size_t count_batch_samples(const Cut& cut) const {
        return static_cast<std::size_t>(cut.part_length * lane_count_);
    }
    // Where the true state before each part of the last cut with any is kept.
    double* state_before(const Cut& cut, std::ptrdiff_t part) {
        const std::size_t behind = count_parts(cut) - static_cast<std::size_t>(part);
        return states_.data() + states_.size() - order_ * behind;
    }

    // Leaves the lane in order in the true state before the first sample.
    void lead_in() {
        std::vector<double> padding(filter_.pad_count());
        reflect_before(run_.source(), padding.size(), padding.data(), 1);
        in_order_.put_to_rest(padding.empty() ? static_cast<double>(*run_.from) : padding.front());
        in_order_.filter(padding);
    }

    // Finds the state before each part as it follows from the guesses.
    void guess_forward(const Cut& cut) {
        warm_up_forward(cut);
        for (std::ptrdiff_t batch = 0; batch < cut.batch_count; ++batch) {
            pauses_.pass(count_batch_samples(cut));
            const LaneLines<const Sample> lines = lines_of(run_.from, cut, batch, cut.batch_count);
            for (std::ptrdiff_t lane = 0; lane < lane_count_; ++lane) {
                forward_.get_lane_state(
                    static_cast<std::size_t>(lane),
                    {state_before(cut, lane * cut.batch_count + batch), order_});
            }
            const UpcomingLines<Sample> wanted{shift_lines(lines, SAMPLES_AHEAD)};
            forward_.filter_forward(lines, cut.part_length, nullptr, &wanted);
        }
    }

    // All lanes but the first, whose state is known, before their first part.
    void warm_up_forward(const Cut& cut) {
        LaneLines<const Sample> lines =
            shift_lines(lines_of(run_.from, cut, 0, cut.batch_count), -warm_up_);
        lines[0] = lines[1];
        for (std::size_t lane = 0; lane < forward_.lane_count(); ++lane) {
            forward_.put_to_rest(lane, static_cast<double>(*lines[lane]));
        }
        forward_.filter_forward(lines, warm_up_, nullptr);
        forward_.set_lane_state(0, in_order_.state());
    }

    // The lane in order is in the true state before the parts of a lane of the forward pass, and
    // goes on to that after them.
    void settle_forward(const Cut& cut, std::ptrdiff_t lane) {
        const std::ptrdiff_t first_part = lane * cut.batch_count;
        const Sample* const samples = run_.from + cut.begin + first_part * cut.part_length;
        const std::ptrdiff_t part_blocks = cut.part_length / BLOCK;
        std::copy_n(state_before(cut, first_part), order_, guessed_.state().begin());
        const auto filter = [&](OneLane& one, std::ptrdiff_t block) {
            if (block % part_blocks == 0) {
                std::ranges::copy(in_order_.state(),
                                  state_before(cut, first_part + block / part_blocks));
            }
            return one.filter_forward(samples + block * BLOCK);
        };
        if (meet(cut.batch_count * part_blocks, filter)) {
            forward_.get_lane_state(static_cast<std::size_t>(lane), in_order_.state());
        }
    }

    // Follows the true state block by block, and the guessed one until it is the same; whether it
    // is in the end. Guessing is given up when a guess has not come to the true state of a lane
    // that moves for long; to that of one at rest it may never.
    template <class Filter>
    bool meet(std::ptrdiff_t block_count, Filter filter) {
        std::ptrdiff_t moves_left = WARM_UPS_TO_MEET * warm_up_ / BLOCK;
        for (std::ptrdiff_t block = 0; block < block_count; ++block) {
            if (guesses_hold_ && in_order_.has_state(guessed_.state())) {
                return true;
            }
            guesses_hold_ = guesses_hold_ && moves_left > 0;
            pauses_.pass(REST_ROWS);
            if (guesses_hold_) {
                filter(guessed_, block);
            }
            moves_left -= filter(in_order_, block) ? 1 : 0;
        }
        return false;
    }

    Run<Sample> remainder() const { return run_.behind(static_cast<std::size_t>(parts_end())); }

    // What follows the parts, and the padding after the run.
    void filter_remainder_forward() {
        const std::span<const Sample> rest = remainder().source();
        remainder_.resize(rest.size() + filter_.pad_count());
        std::ranges::copy(rest, remainder_.begin());
        reflect_after(run_.source(), filter_.pad_count(), remainder_.data() + rest.size(), 1);
        in_order_.filter(remainder_);
    }

    // Leaves the true state of the backward pass.
    void filter_remainder_backward() {
        std::ranges::reverse(remainder_);
        in_order_.put_to_rest(remainder_.front());
        in_order_.filter(remainder_);
        const std::span<Sample> rest = remainder().target();
        std::transform(remainder_.rbegin(), remainder_.rbegin() + as_step(rest.size()),
                       rest.begin(), narrowed_sample<Sample>);
    }

    // From the last batch to the first, forward again and back.
    void filter_cut(const Cut& cut) {
        for (std::ptrdiff_t batch = cut.batch_count; batch-- > 0;) {
            pauses_.pass(count_batch_samples(cut));
            const std::ptrdiff_t part = batch * lane_count_;
            const LaneLines<Sample> written = lines_of(run_.to, cut, part, 1);
            for (std::ptrdiff_t lane = 0; lane < lane_count_; ++lane) {
                forward_.set_lane_state(static_cast<std::size_t>(lane),
                                        {state_before(cut, part + lane), order_});
            }
            const LaneLines<const Sample> lines = lines_of(run_.from, cut, part, 1);
            const UpcomingLines<Sample> wanted{shift_lines(lines, SAMPLES_AHEAD)};
            forward_.filter_forward(lines, cut.part_length, rows_, &wanted);
            const bool guesses = guesses_hold_;
            if (guesses) {
                guess_backward(cut, written);
                backward_.get_lane_state(forward_.lane_count() - 1, in_order_.state());
            }
            for (std::ptrdiff_t lane = guesses ? lane_count_ - 1 : lane_count_; lane-- > 0;) {
                settle_backward(cut, written, lane);
            }
        }
        states_.resize(states_.size() - order_ * count_parts(cut));
    }

    void guess_backward(const Cut& cut, const LaneLines<Sample>& lines) {
        warm_up_backward();
        const UpcomingLines<Sample> wanted{shift_lines(read_only(lines), -SAMPLES_AHEAD)};
        backward_.filter_backward(rows_, cut.part_length, &lines, &wanted);
    }

    // A part warms up on the first rows of the next one, which is the next column. What all come
    // to stays in guesses_.
    void warm_up_backward() {
        double* const next = rows_ + 1;
        const double* const last_row = next + (warm_up_ - 1) * lane_count_;
        for (std::size_t lane = 0; lane < forward_.lane_count(); ++lane) {
            backward_.put_to_rest(lane, last_row[lane]);
        }
        backward_.filter_backward(next, warm_up_, nullptr);
        backward_.set_lane_state(forward_.lane_count() - 1, in_order_.state());
        guesses_.assign(backward_.state().begin(), backward_.state().end());
    }

    // The lane in order is in the true state behind a part, and goes on to that before it.
    void settle_backward(const Cut& cut, const LaneLines<Sample>& lines, std::ptrdiff_t lane) {
        for (std::size_t i = 0; guesses_hold_ && i < order_; ++i) {
            guessed_.state()[i] =
                guesses_[i * forward_.lane_count() + static_cast<std::size_t>(lane)];
        }
        Sample* const end = lines[static_cast<std::size_t>(lane)] + cut.part_length;
        const double* const last_row = rows_ + (cut.part_length - 1) * lane_count_ + lane;
        const auto filter = [&](OneLane& one, std::ptrdiff_t block) {
            return one.filter_backward(last_row - block * BLOCK * lane_count_, lane_count_,
                                       end - (block + 1) * BLOCK);
        };
        if (meet(cut.part_length / BLOCK, filter)) {
            backward_.get_lane_state(static_cast<std::size_t>(lane), in_order_.state());
        }
    }

    Run<Sample> run_;
    const PreparedFilter& filter_;
    TilePass<Sample> forward_;
    TilePass<Sample> backward_;
    OneLane in_order_; // in the true state where the passes have come to
    OneLane guessed_;
    std::ptrdiff_t lane_count_;
    std::size_t order_;
    std::ptrdiff_t warm_up_ = 0;
    bool guesses_hold_ = true;
    std::array<Cut, 3> cuts_{};
    std::size_t cut_count_ = 0;
    std::vector<double>& states_;
    std::vector<double>& guesses_;
    Pauses& pauses_;
    std::vector<double> remainder_; // behind the parts
    double* rows_ = nullptr;
};

} // namespace

bool fills_lanes(std::size_t length, const PreparedFilter& filter, std::size_t lane_count) {
    const std::size_t affordable = length / (lane_count * PARTS_PER_WARM_UP);
    const std::ptrdiff_t limit =
        std::min(longest_sure_warm_up(filter), static_cast<std::ptrdiff_t>(affordable));
    return filter.tap_count() > 1 && length >= FEWEST_SAMPLES_TO_CUT &&
           count_warm_up_samples(filter, limit) < limit;
}

template <class Sample>
bool filter_long_run(const Run<Sample>& run, const PreparedFilter& filter,
                     const LaneKernels<Sample>& kernels, LaneScratch& scratch, Searched searched) {
    LongRunPasses<Sample> passes(run, filter, kernels, scratch);
    return passes.can_be_cut()
               ? passes.run(searched)
               : run_group<Sample>({&run, 1}, {}, filter, kernels, scratch, searched);
}

template bool filter_long_run(const Run<float>&, const PreparedFilter&, const LaneKernels<float>&,
                              LaneScratch&, Searched);
template bool filter_long_run(const Run<double>&, const PreparedFilter&, const LaneKernels<double>&,
                              LaneScratch&, Searched);

} // namespace talvora::dsp
