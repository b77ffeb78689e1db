// Up to sixteen runs of floats seen as the columns of one matrix of doubles, each
// extended by odd reflection at both ends.
#pragma once

#include "dsp/lane_kernels.h"

#include <array>
#include <span>

namespace talvora::dsp {

// Row r of a lane is sample r - pad_count of its run. All lanes begin at row 0; a lane
// ends at its own end_row, after which its rows are zeros. Lanes without a run repeat
// the last one and are never written.
class LaneGroup {
  public:
    // From one to MAX_LANE_COUNT runs, the longest first, each longer than pad_count.
    LaneGroup(std::span<const std::span<float>> runs, std::size_t pad_count,
              const LaneKernels& kernels);

    std::size_t lane_count() const { return lane_count_; }
    std::size_t pad_count() const { return pad_count_; }
    std::size_t row_count() const { return end_row(0); }
    std::size_t end_row(std::size_t lane) const { return runs_[lane].size() + 2 * pad_count_; }

    double extended_sample(std::size_t lane, std::size_t row) const;

    // Where a block of rows that begins, or ends, at `row` had better end, or begin:
    // after BLOCK_ROW_COUNT rows, or where padding and samples meet.
    std::size_t block_end(std::size_t row) const;
    std::size_t block_begin(std::size_t row) const;

    // Samples and padding of the rows [first, last) into a matrix that begins at `rows`.
    void load_rows(std::size_t first, std::size_t last, double* rows) const;
    // And back to the samples; padding is dropped.
    void store_rows(std::size_t first, std::size_t last, const double* rows) const;

  private:
    static constexpr std::size_t QUAD = 4;

    // Whether the rows lie among the samples of all four lanes from `lane` on.
    bool has_samples_only(std::size_t lane, std::size_t first, std::size_t last) const;
    void load_lane(std::size_t lane, std::size_t first, std::size_t last, double* column) const;
    void store_lane(std::size_t lane, std::size_t first, std::size_t last,
                    const double* column) const;

    const LaneKernels& kernels_;
    std::array<std::span<float>, MAX_LANE_COUNT> runs_;
    std::size_t run_count_;
    std::size_t lane_count_;
    std::size_t pad_count_;
};

} // namespace talvora::dsp
