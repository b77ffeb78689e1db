#include "dsp/long_run.h"

#include "dsp/block_passes.h"
#include "dsp/lane_group.h"
#include "dsp/warm_up.h"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace talvora::dsp {

namespace {

constexpr auto BLOCK_ROWS = static_cast<std::ptrdiff_t>(BLOCK_ROW_COUNT);

// The parts of one batch, half a megabyte, stay in the second-level cache between the passes;
// shorter ones than 64 samples are not worth cutting.
constexpr std::ptrdiff_t MAX_BATCH_DOUBLES = 64 << 10;
constexpr std::ptrdiff_t MIN_PART_LENGTH = 64;

// A warm-up is work done twice, so it may be a quarter of a part.
constexpr std::ptrdiff_t PARTS_PER_WARM_UP = 4;

// Guessing is given up when so many of the guesses of a batch were wrong: each costs a part in
// order, which takes about as long as all parts side by side.
constexpr std::ptrdiff_t too_many_wrong_guesses(std::ptrdiff_t lane_count) {
    return lane_count / 2;
}

bool same_bits(const std::vector<double>& left, const std::vector<double>& right) {
    return std::ranges::equal(left, right, [](double l, double r) {
        return std::bit_cast<std::uint64_t>(l) == std::bit_cast<std::uint64_t>(r);
    });
}

// Calls visit(first, last) for the rows of [0, row_count) in blocks, in order or from the end.
template <class Visit>
void for_each_block(std::ptrdiff_t row_count, Visit visit) {
    for (std::ptrdiff_t first = 0; first < row_count; first += BLOCK_ROWS) {
        visit(first, std::min(first + BLOCK_ROWS, row_count));
    }
}
template <class Visit>
void for_each_block_from_the_end(std::ptrdiff_t row_count, Visit visit) {
    for (std::ptrdiff_t last = row_count; last > 0; last -= std::min(BLOCK_ROWS, last)) {
        visit(last - std::min(BLOCK_ROWS, last), last);
    }
}

class LongRunPasses {
  public:
    LongRunPasses(std::span<float> run, const PreparedFilter& filter, const LaneKernels& kernels,
                  LaneScratch& scratch)
        : run_(run, filter.pad_count()), kernels_(kernels),
          lane_count_(kernels.lanes_at_once(filter.tap_count())), step_(as_step(lane_count_)),
          forward_(filter, kernels, lane_count_), backward_(filter, kernels, lane_count_),
          serial_(filter, SERIAL_LANE_KERNELS, 1), guess_(forward_), starts_(forward_),
          states_(scratch.states) {
        cut_into_parts();
        // One double more than the rows: the last one is read past in a warm-up.
        rows_ = scratch.rows.reserve(static_cast<std::size_t>(part_length_ * step_ + 1));
        block_ = scratch.block.reserve(BLOCK_ROW_COUNT * lane_count_);
        if (part_length_ > 0) {
            const std::ptrdiff_t limit = part_length_ / PARTS_PER_WARM_UP;
            warm_up_ = count_warm_up_samples(filter, limit);
            guesses_ = warm_up_ < limit;
        }
    }

    bool run(Searched searched) {
        serial_.put_to_rest(0, run_[0]);
        true_state_ = serial_.lane_state(0);
        states_.clear();
        for (std::ptrdiff_t batch = 0; batch < batch_count_; ++batch) {
            if (!find_forward_states(batch, searched)) {
                return false;
            }
        }
        filter_remainder_forward();
        if (has_to_stop(serial_, searched)) {
            return false;
        }
        filter_remainder_backward();
        for (std::ptrdiff_t batch = batch_count_; batch-- > 0;) {
            filter_batch(batch);
        }
        return true;
    }

  private:
    // Batches of as many parts as there are lanes, all of one length, and a remainder of at least
    // one sample with which the backward pass starts.
    void cut_into_parts() {
        batch_count_ = (run_.size() + MAX_BATCH_DOUBLES - 1) / MAX_BATCH_DOUBLES;
        part_length_ = (run_.size() - 1) / (batch_count_ * step_);
        // The padding before the run is made of the samples of the first batch alone: those
        // after it are no longer there when the forward pass is computed again.
        const bool padding_fits = step_ * part_length_ > 2 * run_.samples_begin();
        if (part_length_ < MIN_PART_LENGTH || !padding_fits) {
            batch_count_ = 0;
            part_length_ = 0;
        }
    }

    static bool has_to_stop(const LanePass& pass, Searched searched) {
        return searched == Searched::No && pass.has_met_missing();
    }

    // Appends the true state before each part of a batch to states_; false when it has to stop.
    bool find_forward_states(std::ptrdiff_t batch, Searched searched) {
        if (guesses_) {
            guess_forward(parts_of(batch));
            if (has_to_stop(forward_, searched)) {
                return false;
            }
        }
        std::ptrdiff_t wrong_count = 0;
        for (std::size_t lane = 0; lane < lane_count_; ++lane) {
            starts_.set_lane_state(lane, true_state_);
            if (guesses_ && same_bits(guess_.lane_state(lane), true_state_)) {
                true_state_ = forward_.lane_state(lane);
            } else {
                filter_part_forward_in_order(batch, lane);
                ++wrong_count;
                if (has_to_stop(serial_, searched)) {
                    return false;
                }
            }
        }
        states_.insert(states_.end(), starts_.state().begin(), starts_.state().end());
        guesses_ = guesses_ && wrong_count < too_many_wrong_guesses(step_);
        return true;
    }

    // From a warm-up before each part to its end; what each began with stays in guess_.
    void guess_forward(const LaneGroup& parts) {
        for (std::size_t lane = 0; lane < lane_count_; ++lane) {
            forward_.put_to_rest(lane, parts.sample(lane, -warm_up_));
        }
        for_each_block(warm_up_, [&](std::ptrdiff_t first, std::ptrdiff_t last) {
            filter_block_forward(parts, forward_, first - warm_up_, last - warm_up_, block_);
        });
        forward_.set_lane_state(0, true_state_);
        guess_.set_state(forward_.state());
        for_each_block(part_length_, [&](std::ptrdiff_t first, std::ptrdiff_t last) {
            filter_block_forward(parts, forward_, first, last, block_);
        });
    }

    void filter_part_forward_in_order(std::ptrdiff_t batch, std::size_t lane) {
        const std::ptrdiff_t begin = part_begin(batch, lane);
        serial_.set_state(true_state_);
        for_each_block(part_length_, [&](std::ptrdiff_t first, std::ptrdiff_t last) {
            run_.load(begin + first, begin + last, block_, 1);
            serial_.filter(block_, block_, last - first, 1);
        });
        true_state_ = serial_.lane_state(0);
    }

    // What follows the parts.
    void filter_remainder_forward() {
        const std::ptrdiff_t begin = part_begin(batch_count_, 0);
        remainder_.resize(static_cast<std::size_t>(run_.size() - begin));
        run_.load(begin, run_.size(), remainder_.data(), 1);
        serial_.set_state(true_state_);
        serial_.filter(remainder_.data(), remainder_.data(), run_.size() - begin, 1);
    }

    // Leaves the true state of the backward pass.
    void filter_remainder_backward() {
        const auto count = static_cast<std::ptrdiff_t>(remainder_.size());
        serial_.put_to_rest(0, remainder_.back());
        serial_.filter(&remainder_.back(), &remainder_.back(), count, -1);
        run_.store(run_.size() - count, run_.size(), remainder_.data(), 1);
        true_state_ = serial_.lane_state(0);
    }

    void filter_batch(std::ptrdiff_t batch) {
        const LaneGroup parts = parts_of(batch);
        const auto kept = states_.end() - static_cast<std::ptrdiff_t>(forward_.state().size());
        forward_.set_state({kept, states_.end()});
        states_.erase(kept, states_.end());
        for_each_block(part_length_, [&](std::ptrdiff_t first, std::ptrdiff_t last) {
            filter_block_forward(parts, forward_, first, last, block_, rows_ + first * step_);
        });
        filter_batch_backward(batch, parts);
    }

    void filter_batch_backward(std::ptrdiff_t batch, const LaneGroup& parts) {
        if (guesses_) {
            guess_backward(parts);
        }
        std::ptrdiff_t wrong_count = 0;
        for (std::size_t lane = lane_count_; lane-- > 0;) {
            if (guesses_ && same_bits(guess_.lane_state(lane), true_state_)) {
                true_state_ = backward_.lane_state(lane);
            } else {
                filter_part_backward_in_order(batch, lane);
                ++wrong_count;
            }
        }
        guesses_ = guesses_ && wrong_count < too_many_wrong_guesses(step_);
    }

    // A part warms up on the first rows of the next one, which is the next column.
    void guess_backward(const LaneGroup& parts) {
        const double* next = rows_ + 1;
        for (std::size_t lane = 0; lane + 1 < lane_count_; ++lane) {
            backward_.put_to_rest(lane, next[(warm_up_ - 1) * step_ + as_step(lane)]);
        }
        for_each_block_from_the_end(warm_up_, [&](std::ptrdiff_t first, std::ptrdiff_t last) {
            filter_block_backward(backward_, next + first * step_, last - first, block_);
        });
        backward_.set_lane_state(lane_count_ - 1, true_state_);
        guess_.set_state(backward_.state());
        for_each_block_from_the_end(part_length_, [&](std::ptrdiff_t first, std::ptrdiff_t last) {
            filter_block_backward(backward_, rows_ + first * step_, last - first, block_);
            parts.store_rows(first, last, block_);
        });
    }

    void filter_part_backward_in_order(std::ptrdiff_t batch, std::size_t lane) {
        const std::ptrdiff_t begin = part_begin(batch, lane);
        const double* column = rows_ + lane;
        serial_.set_state(true_state_);
        for_each_block_from_the_end(part_length_, [&](std::ptrdiff_t first, std::ptrdiff_t last) {
            serial_.filter(column + (last - 1) * step_, block_ + (last - first - 1) * step_,
                           last - first, -step_);
            run_.store(begin + first, begin + last, block_, lane_count_);
        });
        true_state_ = serial_.lane_state(0);
    }

    static std::ptrdiff_t as_step(std::size_t count) { return static_cast<std::ptrdiff_t>(count); }

    std::ptrdiff_t part_begin(std::ptrdiff_t batch, std::size_t lane) const {
        return (batch * step_ + as_step(lane)) * part_length_;
    }
    LaneGroup parts_of(std::ptrdiff_t batch) const {
        return {run_, part_begin(batch, 0), part_length_, lane_count_, kernels_};
    }

    ExtendedRun run_;
    const LaneKernels& kernels_;
    std::size_t lane_count_;
    std::ptrdiff_t step_; // from row to row
    std::ptrdiff_t batch_count_ = 0;
    std::ptrdiff_t part_length_ = 0;
    std::ptrdiff_t warm_up_ = 0;
    bool guesses_ = false;
    LanePass forward_;
    LanePass backward_;
    LanePass serial_;
    LanePass guess_;                 // the states that parts were begun with
    LanePass starts_;                // the states that they should have begun with
    std::vector<double> true_state_; // where the parts done so far end
    std::vector<double> remainder_;  // behind the parts
    double* rows_ = nullptr;
    double* block_ = nullptr;
    std::vector<double>& states_;
};

} // namespace

bool filter_long_run(std::span<float> run, const PreparedFilter& filter, const LaneKernels& kernels,
                     LaneScratch& scratch, Searched searched) {
    return LongRunPasses(run, filter, kernels, scratch).run(searched);
}

} // namespace talvora::dsp
