// Stretches of floats seen as the columns of one matrix of doubles: up to sixteen runs
// side by side, or one run cut into as many parts.
#pragma once

#include "dsp/lane_kernels.h"

#include <array>
#include <span>

namespace talvora::dsp {

// A run extended by odd reflection at both ends: position 0 is the first padding sample,
// position pad_count the first sample of the run. Elsewhere it is zero.
class ExtendedRun {
  public:
    ExtendedRun() = default;
    // The run has more than pad_count samples.
    ExtendedRun(std::span<float> run, std::size_t pad_count)
        : run_(run), pad_count_(static_cast<std::ptrdiff_t>(pad_count)) {}

    std::ptrdiff_t size() const { return samples_end() + pad_count_; }
    std::ptrdiff_t samples_begin() const { return pad_count_; }
    std::ptrdiff_t samples_end() const {
        return pad_count_ + static_cast<std::ptrdiff_t>(run_.size());
    }
    bool has_samples_only(std::ptrdiff_t first, std::ptrdiff_t last) const {
        return samples_begin() <= first && last <= samples_end();
    }
    // Where the sample at a position is; to be read or written only among the samples.
    float* address(std::ptrdiff_t position) const { return run_.data() + (position - pad_count_); }

    double operator[](std::ptrdiff_t position) const;

    // Positions [first, last) to doubles `stride` apart, and back; only samples are written.
    void load(std::ptrdiff_t first, std::ptrdiff_t last, double* values, std::size_t stride) const;
    void store(std::ptrdiff_t first, std::ptrdiff_t last, const double* values,
               std::size_t stride) const;

  private:
    std::span<float> run_;
    std::ptrdiff_t pad_count_ = 0;
};

// Lanes of which row r is position `first + r` of a run. Lanes beyond those that are
// given repeat the last one and are never written.
class LaneGroup {
  public:
    // Whole runs, from one to MAX_LANE_COUNT of them.
    LaneGroup(std::span<const std::span<float>> runs, std::size_t pad_count,
              const LaneKernels& kernels);
    // 4, 8 or 16 lanes, each with the `length` positions after the lane before.
    LaneGroup(const ExtendedRun& run, std::ptrdiff_t first, std::ptrdiff_t length,
              std::size_t lane_count, const LaneKernels& kernels);

    std::size_t lane_count() const { return lane_count_; }
    const ExtendedRun& run(std::size_t lane) const { return lanes_[lane].run; }
    double sample(std::size_t lane, std::ptrdiff_t row) const {
        return lanes_[lane].run[lanes_[lane].first + row];
    }

    // Rows [first, last) to a matrix that begins at `rows`, and back to the samples.
    void load_rows(std::ptrdiff_t first, std::ptrdiff_t last, double* rows) const;
    void store_rows(std::ptrdiff_t first, std::ptrdiff_t last, const double* rows) const;

    // Whether the rows are samples that repeat, bit for bit, as many before them.
    bool rows_repeat(std::ptrdiff_t first, std::ptrdiff_t last) const;

  private:
    struct Lane {
        ExtendedRun run;
        std::ptrdiff_t first = 0;
    };
    struct Rows {
        std::ptrdiff_t first;
        std::ptrdiff_t last;
        bool empty() const { return first >= last; }
        std::size_t size() const { return static_cast<std::size_t>(last - first); }
    };
    static constexpr std::size_t QUAD = 4;

    void find_sample_rows();
    // Those of some rows that are samples in all four lanes from `lane` on.
    Rows sample_rows(std::size_t lane, Rows rows) const;
    // Rows of one lane or, where they are samples, of four to columns that begin at `column`,
    // and back.
    void load(std::size_t lane, Rows rows, double* column) const;
    void load_four(std::size_t lane, Rows samples, double* column) const;
    void store(std::size_t lane, Rows rows, const double* column) const;
    void store_four(std::size_t lane, Rows samples, const double* column) const;
    // Where the samples of a row are in four lanes.
    std::array<float*, QUAD> addresses(std::size_t lane, std::ptrdiff_t row) const;

    const LaneKernels& kernels_;
    std::array<Lane, MAX_LANE_COUNT> lanes_;
    std::size_t given_count_;
    std::size_t lane_count_;
    std::array<Rows, MAX_LANE_COUNT / QUAD> sample_rows_{};
};

} // namespace talvora::dsp
