// One pass of a filter over the columns of a matrix, and the memory that passes share.
#pragma once

#include "dsp/lane_kernels.h"
#include "dsp/zero_phase_filter.h"

#include <cstddef>
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

// Lines of samples that will be wanted soon: while a block is filtered, as many samples are asked
// of the memory, which is slow to answer but can be kept busy meanwhile.
class UpcomingSamples {
  public:
    UpcomingSamples() = default;
    explicit UpcomingSamples(std::span<const std::span<float>> lines) : lines_(lines) {}
    void prefetch(std::size_t count);

  private:
    std::span<const std::span<float>> lines_;
    std::size_t position_ = 0; // in the first line
};

// Made once and used for any number of runs and filters. Rows grow to 4 MiB and a block,
// whatever the length of the runs; the states kept along long runs come to less than a
// thousandth of the samples' own size for each tap.
struct LaneScratch {
    RowBuffer rows;
    RowBuffer block;
    std::vector<double> states;
    UpcomingSamples upcoming;
};

// Whether runs have been searched for missing samples, which takes up to a tenth of the time of
// filtering. The recurrence never loses a NaN that it has met, so the states after the forward
// pass, before which nothing is written, tell as well.
enum class Searched { Yes, No };

// The state of a filter in every lane, carried from one stretch of rows to the next.
class LanePass {
  public:
    // Borrows the filter and the kernels; all states are zero.
    LanePass(const PreparedFilter& filter, const LaneKernels& kernels, std::size_t lane_count);

    std::size_t lane_count() const { return lane_count_; }
    // tap_count - 1 rows.
    std::span<const double> state() const { return state_; }
    void set_state(std::span<const double> state);

    // Puts a lane to rest on a constant input.
    void put_to_rest(std::size_t lane, double input);

    // Filters `row_count` rows, from the one at `in` on in steps of `row_step` doubles.
    void filter(const double* in, double* out, std::ptrdiff_t row_count, std::ptrdiff_t row_step);

    // Whether the last call of filter had as many rows and left the state as it was.
    bool state_repeats(std::ptrdiff_t row_count) const;
    // What comes next does not follow the last call of filter. Setting a state implies it.
    void start_over() { last_row_count_ = 0; }

    // Whether some lane has met a NaN, or made one of infinities.
    bool has_met_missing() const;

    // The state of one lane, on its own.
    std::vector<double> lane_state(std::size_t lane) const;
    void set_lane_state(std::size_t lane, std::span<const double> state);

  private:
    const PreparedFilter& filter_;
    const LaneKernels& kernels_;
    std::size_t lane_count_;
    std::vector<double> state_;
    std::vector<double> state_before_; // the last call of filter
    std::ptrdiff_t last_row_count_ = 0;
};

} // namespace talvora::dsp
