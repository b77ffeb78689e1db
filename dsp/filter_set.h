// Zero-phase filtering of the lines of data sets, in place.
#pragma once

#include "dsp/filter_coefficients.h"
#include "dsp/filter_path.h"
#include "dsp/lane_scratch.h"
#include "dsp/run_group.h"
#include "dsp/valid_runs.h"

#include <cstdint>
#include <span>
#include <vector>

namespace talvora::dsp {

// Filters any number of sets in scratch memory of its own that it keeps from set to set: less
// than 5 MiB and the states kept along long runs (see LaneScratch). The plain path needs a few
// copies of one run in double instead. Lines are filtered side by side, whichever sets they are
// of: what is added is filtered when enough has come together, and at the latest by `finish`.
class SetFilter {
  public:
    explicit SetFilter(FilterPath path = best_filter_path()) : path_(path) {}

    // Takes every line of `samples`: consecutive blocks of `line_length` samples (a part of a
    // line at the end is left alone). In each line the runs of valid samples that hold at least
    // 3 * tap_count - 1 are filtered, samples before the first and after the last of these
    // become NaN (0xFFC00000), and what lies between two of them stays. A line without such a
    // run stays, and so does everything when the filter is empty. Until `finish` the samples
    // are the filter's, to be neither moved nor looked at. Sets with the same coefficients are
    // filtered together when they come one after the other.
    void add(std::span<float> samples, std::uint64_t line_length,
             const FilterCoefficients& coefficients);
    void finish();

    // The same for one set alone.
    void filter_in_place(std::span<float> samples, std::uint64_t line_length,
                         const FilterCoefficients& coefficients);

  private:
    void prepare(const FilterCoefficients& coefficients);
    void filter_lines();
    void filter_or_search(Runs lines, Runs next);
    bool is_one_run(std::span<const float> line) const;
    void collect_runs(std::span<float> line);
    bool has_enough_runs() const;
    void filter_runs();
    std::size_t lanes_at_once() const;
    bool filter_together(Runs runs, Runs next, Searched searched);
    void filter_one_by_one(Runs runs);

    FilterPath path_;
    FilterCoefficients coefficients_;
    PreparedFilter filter_;               // for these coefficients
    bool expects_whole_lines_ = true;     // as the last ones were
    std::vector<std::span<float>> lines_; // not searched yet
    std::vector<ValidRun> line_runs_;
    std::vector<std::span<float>> runs_;
    std::size_t collected_sample_count_ = 0;
    LaneScratch scratch_;
};

} // namespace talvora::dsp
