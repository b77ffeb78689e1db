// Zero-phase filtering of the lines of a data set, in place.
#pragma once

#include "dsp/filter_coefficients.h"
#include "dsp/filter_path.h"
#include "dsp/lane_pass.h"
#include "dsp/valid_runs.h"

#include <cstdint>
#include <span>
#include <vector>

namespace talvora::dsp {

// Filters any number of sets, one after the other, in scratch memory of its own that it
// keeps from set to set: less than 5 MiB and the states kept along long runs (see
// LaneScratch). The plain path needs a few copies of one run in double instead.
class SetFilter {
  public:
    explicit SetFilter(FilterPath path = best_filter_path()) : path_(path) {}

    // Filters every line of `samples`: consecutive blocks of `line_length` samples (a
    // part of a line at the end is left alone). In each line the runs of valid samples
    // that hold at least 3 * tap_count - 1 are filtered, samples before the first and
    // after the last of these become NaN (0xFFC00000), and what lies between two of
    // them stays. A line without such a run stays, and so does everything when the
    // filter is empty.
    void filter_in_place(std::span<float> samples, std::uint64_t line_length,
                         const FilterCoefficients& coefficients);

  private:
    void prepare(const FilterCoefficients& coefficients);
    std::span<float> take_lines(std::span<float> samples, std::size_t line_length);
    bool filter_whole_lines(std::span<const float> rest);
    void ask_for(std::span<const float> rest, std::size_t count);
    bool is_one_run(std::span<const float> line) const;
    void collect_runs(std::span<float> line, std::span<const float> line_and_rest);
    bool has_enough_runs() const;
    void filter_collected_runs();
    std::size_t lanes_at_once() const;
    bool filter_together(std::span<const std::span<float>> runs, Searched searched);
    void filter_one_by_one(std::span<const std::span<float>> runs);

    FilterPath path_;
    FilterCoefficients coefficients_;
    PreparedFilter filter_;           // for these coefficients
    bool expects_whole_lines_ = true; // as the last ones were
    std::vector<std::span<float>> lines_;
    std::vector<ValidRun> line_runs_;
    std::vector<std::span<float>> runs_;
    std::size_t collected_sample_count_ = 0;
    LaneScratch scratch_;
};

} // namespace talvora::dsp
