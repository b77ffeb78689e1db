// Zero-phase filtering of the lines of data sets, in place or from one place to another.
#pragma once

#include "dsp/filter_coefficients.h"
#include "dsp/filter_path.h"
#include "dsp/lane_scratch.h"
#include "dsp/run.h"
#include "dsp/valid_runs.h"
#include "dsp/zero_phase_filter.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace talvora::dsp {

// What becomes of a line with missing samples (NaN).
enum class Missing {
    // The runs of valid samples that are long enough are filtered, each by itself. Samples before
    // the first and after the last of these become missing, and what lies between two of them
    // stays, as does a line without such a run.
    Omit,
    // The recurrence carries a NaN on for ever, so the whole line becomes missing. In a filter
    // without feedback (all of a but the first is zero) nothing does: a line with a NaN or an
    // infinity is that of zero_phase_convolution.
    Propagate
};

// Valid samples of runs that are too short to be filtered, in lines that are long enough.
struct ShortRuns {
    std::uint64_t left_samples = 0;   // they stay
    std::uint64_t erased_samples = 0; // they become missing: next to an end of a line with a
                                      // filtered run
};

// Filters any number of sets in scratch memory of its own that it keeps from set to set: less
// than 5 MiB and the states kept along long runs (see LaneScratch). The plain path needs a few
// copies of one run in double instead. Lines are filtered side by side, whichever sets they are
// of: what is added is filtered when enough has come together, and at the latest by `finish`.
//
// Samples are float or double. The results are those of zero_phase_filter, for floats rounded;
// missing ones are made with the bits of missing_samples.h.
//
// `pause` is called now and then (pauses.h), also within a long line. What it throws leaves the
// filter, which is of no use any more, and samples that are worth nothing. On the plain path, with
// one tap, and where a filter without feedback carries missing samples on, lines are not parted.
//
// `short_runs`, where it is given, is added to while missing samples are omitted.
template <class Sample>
class SetFilter {
  public:
    explicit SetFilter(FilterPath path = best_filter_path(), Missing missing = Missing::Omit,
                       std::function<void()> pause = {}, ShortRuns* short_runs = nullptr)
        : path_(path), missing_(missing), short_runs_(short_runs) {
        scratch_.pauses = Pauses(std::move(pause));
    }

    // Takes every line of `from`: consecutive blocks of `line_length` samples (a part of a
    // line at the end stays). Runs are padded by `pad_count` samples at each end, and
    // are long enough with more samples than that; without it by 3 (tap_count - 1), with at least
    // two more (see padding_for). Lines that are too short stay, and so does everything when the
    // filter is empty.
    //
    // What becomes of all samples, also of those that stay, comes to `to`. It has as many, and is
    // `from` itself or lies apart from all that is read; `from` is not written then. Until
    // `finish` both are the filter's, to be neither moved nor looked at. Sets with the same
    // coefficients and padding are filtered together when they come one after the other.
    void add(std::span<const Sample> from, std::span<Sample> to, std::uint64_t line_length,
             const FilterCoefficients& coefficients,
             std::optional<std::size_t> pad_count = std::nullopt);
    // In place.
    void add(std::span<Sample> samples, std::uint64_t line_length,
             const FilterCoefficients& coefficients,
             std::optional<std::size_t> pad_count = std::nullopt);
    void finish();

    // One set alone.
    void filter_in_place(std::span<Sample> samples, std::uint64_t line_length,
                         const FilterCoefficients& coefficients,
                         std::optional<std::size_t> pad_count = std::nullopt);

  private:
    void prepare(const FilterCoefficients& coefficients, std::optional<std::size_t> pad_count);
    void filter_lines();
    void filter_or_search(Runs<Sample> lines, Runs<Sample> next);
    bool is_one_run(const Run<Sample>& line) const;
    void search(const Run<Sample>& line);
    void collect_runs(const Run<Sample>& line);
    void leave(const Run<Sample>& part);
    void erase(const Run<Sample>& part);
    void collect(const Run<Sample>& run);
    bool has_enough_runs() const;
    void filter_runs();
    std::size_t lanes_at_once() const;
    bool filter_together(Runs<Sample> runs, Runs<Sample> next, Searched searched);
    void filter_one_by_one(Runs<Sample> runs);

    FilterPath path_;
    Missing missing_;
    ShortRuns* short_runs_;
    FilterCoefficients coefficients_;
    std::optional<std::size_t> pad_count_;
    PreparedFilter filter_;           // for these coefficients and this padding
    bool convolves_ = false;          // lines with a NaN or an infinity
    bool expects_whole_lines_ = true; // as the last ones were
    std::vector<Run<Sample>> lines_;  // not searched yet
    std::vector<ValidRun> line_runs_;
    std::vector<Run<Sample>> runs_;
    std::size_t collected_sample_count_ = 0;
    LaneScratch scratch_;
};

} // namespace talvora::dsp
