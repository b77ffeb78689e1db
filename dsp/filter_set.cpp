#include "dsp/filter_set.h"

#include "dsp/long_run.h"
#include "dsp/made_samples.h"
#include "dsp/missing_samples.h"
#include "dsp/run_group.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace talvora::dsp {

namespace {

// Lines and runs collected before they are filtered: enough to find some of similar length,
// while their list stays in the first-level caches. Runs have been read by the search for missing
// samples: no more than a megabyte of them, which the caches still hold when they are filtered.
constexpr std::size_t MAX_COLLECTED_COUNT = 2048;
constexpr std::size_t ENOUGH_BYTES = 1U << 20U;

// Runs side by side should have like lengths; most lines have already. Those of one length stay in
// the order of their addresses, as they came from one set: a stable sort would ask for memory.
template <class Sample>
void sort_by_length(std::vector<Run<Sample>>& runs) {
    if (!std::ranges::is_sorted(runs, std::ranges::greater{}, &Run<Sample>::length)) {
        std::ranges::sort(runs, {}, [](const Run<Sample>& run) {
            return std::pair(std::numeric_limits<std::size_t>::max() - run.length, run.to);
        });
    }
}

// From this length on one run takes no longer than with others in lanes beside it.
constexpr std::size_t LONG_RUN = 4096;

// The first runs that are to be filtered together: as many as the lanes hold that those take which
// are at least half as long as the longest. It is filtered by itself where it is the only one of
// these, and where most lanes would be left empty and its parts are sure to fill them.
template <class Sample>
Runs<Sample> first_group(Runs<Sample> runs, const PreparedFilter& filter,
                         const LaneKernels<Sample>& kernels) {
    const std::size_t longest = runs.front().length;
    const auto end_of_like = std::ranges::partition_point(
        runs, [longest](const Run<Sample>& run) { return run.length >= longest / 2; });
    const auto like_count = static_cast<std::size_t>(end_of_like - runs.begin());
    const std::size_t most_lanes = kernels.lane_count(filter.tap_count(), MAX_LANE_COUNT);
    const bool alone =
        like_count == 1 ? longest >= LONG_RUN
                        : 3 * like_count <= most_lanes && fills_lanes(longest, filter, most_lanes);
    const std::size_t count = alone ? 1 : kernels.lane_count(filter.tap_count(), like_count);
    return runs.first(std::min(runs.size(), count));
}

// Calls visit(group, rest) for groups of runs.
template <class Sample, class Visit>
void for_each_group(Runs<Sample> runs, const PreparedFilter& filter,
                    const LaneKernels<Sample>& kernels, Visit visit) {
    while (!runs.empty()) {
        const Runs<Sample> group = first_group(runs, filter, kernels);
        runs = runs.subspan(group.size());
        visit(group, runs);
    }
}

template <class Sample>
std::vector<double> widened_source(const Run<Sample>& run) {
    return {run.from, run.from + run.length};
}

template <class Sample>
void filter_run(const Run<Sample>& run, const PreparedFilter& filter) {
    const std::vector<double> y = zero_phase_filter(widened_source(run), filter);
    std::ranges::transform(y, run.to, narrowed_sample<Sample>);
}

template <class Sample>
void convolve_run(const Run<Sample>& run, const PreparedFilter& filter) {
    const std::vector<double> y = zero_phase_convolution(widened_source(run), filter);
    std::ranges::transform(y, run.to, [](double sample) {
        return std::isnan(sample) ? MISSING_SAMPLE_OF<Sample> : static_cast<Sample>(sample);
    });
}

template <class Sample>
std::uint64_t count_valid(std::span<const Sample> samples) {
    return static_cast<std::uint64_t>(
        std::ranges::count_if(samples, [](Sample sample) { return !std::isnan(sample); }));
}

template <class Sample>
bool is_finite(std::span<const Sample> line) {
    return std::ranges::all_of(line, [](Sample sample) { return std::isfinite(sample); });
}

} // namespace

template <class Sample>
void SetFilter<Sample>::filter_in_place(std::span<Sample> samples, std::uint64_t line_length,
                                        const FilterCoefficients& coefficients,
                                        std::optional<std::size_t> pad_count) {
    add(samples, line_length, coefficients, pad_count);
    finish();
}

template <class Sample>
void SetFilter<Sample>::add(std::span<Sample> samples, std::uint64_t line_length,
                            const FilterCoefficients& coefficients,
                            std::optional<std::size_t> pad_count) {
    add(samples, samples, line_length, coefficients, pad_count);
}

template <class Sample>
void SetFilter<Sample>::add(std::span<const Sample> from, std::span<Sample> to,
                            std::uint64_t line_length, const FilterCoefficients& coefficients,
                            std::optional<std::size_t> pad_count) {
    Run<Sample> rest{from.data(), to.data(), to.size()};
    const std::size_t tap_count = std::max(coefficients.b.size(), coefficients.a.size());
    if (tap_count > 0 && line_length >= padding_for(tap_count, pad_count).least_length) {
        prepare(coefficients, pad_count);
        for (; rest.length >= line_length; rest = rest.behind(line_length)) {
            lines_.push_back(rest.part(0, line_length));
            if (lines_.size() == MAX_COLLECTED_COUNT) {
                filter_lines();
            }
        }
    }
    copy_run(rest); // no line of it holds a run that is long enough
}

template <class Sample>
void SetFilter<Sample>::finish() {
    filter_lines();
    filter_runs();
}

// Sets that follow each other mostly have one sample rate, and so one filter.
template <class Sample>
void SetFilter<Sample>::prepare(const FilterCoefficients& coefficients,
                                std::optional<std::size_t> pad_count) {
    if (coefficients.b != coefficients_.b || coefficients.a != coefficients_.a ||
        pad_count != pad_count_) {
        finish();
        filter_ = prepare_filter(coefficients, pad_count);
        coefficients_ = coefficients;
        pad_count_ = pad_count;
        convolves_ = missing_ == Missing::Propagate && !filter_.has_feedback();
    }
}

template <class Sample>
void SetFilter<Sample>::filter_lines() {
    sort_by_length(lines_);
    for_each_group<Sample>(
        lines_, filter_, lane_kernels<Sample>(path_),
        [this](Runs<Sample> lines, Runs<Sample> next) { filter_or_search(lines, next); });
    lines_.clear();
}

// Filters lines whole, or collects their runs.
template <class Sample>
void SetFilter<Sample>::filter_or_search(Runs<Sample> lines, Runs<Sample> next) {
    if (expects_whole_lines_ && !convolves_ && filter_together(lines, next, Searched::No)) {
        return;
    }
    expects_whole_lines_ = true;
    for (const Run<Sample>& line : lines) {
        search(line);
        expects_whole_lines_ = expects_whole_lines_ && is_one_run(line);
    }
}

template <class Sample>
void SetFilter<Sample>::search(const Run<Sample>& line) {
    find_valid_runs(line.source(), static_cast<std::int64_t>(filter_.padding.least_length),
                    line_runs_);
    if (missing_ == Missing::Omit) {
        collect_runs(line);
    } else if (convolves_ && !is_finite(line.source())) {
        convolve_run(line, filter_);
    } else if (is_one_run(line)) {
        collect(line);
    } else {
        fill_missing(line.target());
    }
}

template <class Sample>
bool SetFilter<Sample>::is_one_run(const Run<Sample>& line) const {
    return !line_runs_.empty() &&
           static_cast<std::size_t>(line_runs_.front().length) == line.length;
}

template <class Sample>
void SetFilter<Sample>::collect_runs(const Run<Sample>& line) {
    if (line_runs_.empty()) {
        return leave(line);
    }
    const auto first = static_cast<std::size_t>(line_runs_.front().start);
    erase(line.part(0, first));
    std::size_t end = first; // of what is done
    for (const ValidRun& valid : line_runs_) {
        const auto start = static_cast<std::size_t>(valid.start);
        const auto length = static_cast<std::size_t>(valid.length);
        leave(line.part(end, start - end));
        collect(line.part(start, length));
        end = start + length;
    }
    erase(line.behind(end));
}

// What is in no run that is filtered.
template <class Sample>
void SetFilter<Sample>::leave(const Run<Sample>& part) {
    if (short_runs_ != nullptr) {
        short_runs_->left_samples += count_valid(part.source());
    }
    copy_run(part);
}

template <class Sample>
void SetFilter<Sample>::erase(const Run<Sample>& part) {
    if (short_runs_ != nullptr) {
        short_runs_->erased_samples += count_valid(part.source());
    }
    fill_missing(part.target());
}

template <class Sample>
void SetFilter<Sample>::collect(const Run<Sample>& run) {
    runs_.push_back(run);
    collected_sample_count_ += run.length;
    if (has_enough_runs()) {
        filter_runs();
    }
}

template <class Sample>
bool SetFilter<Sample>::has_enough_runs() const {
    return runs_.size() == MAX_COLLECTED_COUNT ||
           (runs_.size() % lanes_at_once() == 0 &&
            collected_sample_count_ >= ENOUGH_BYTES / sizeof(Sample));
}

template <class Sample>
void SetFilter<Sample>::filter_runs() {
    sort_by_length(runs_);
    for_each_group<Sample>(runs_, filter_, lane_kernels<Sample>(path_),
                           [this](Runs<Sample> runs, Runs<Sample> next) {
                               filter_together(runs, next, Searched::Yes);
                           });
    runs_.clear();
    collected_sample_count_ = 0;
}

// False, and nothing is written, when they were not searched and a sample may be missing.
template <class Sample>
bool SetFilter<Sample>::filter_together(Runs<Sample> runs, Runs<Sample> next, Searched searched) {
    const bool has_lanes =
        path_ != FilterPath::Plain && filter_.tap_count() > 1 && !filter_.has_missing_coefficient();
    if (has_lanes) {
        const LaneKernels<Sample>& kernels = lane_kernels<Sample>(path_);
        return runs.size() == 1 ? filter_long_run(runs[0], filter_, kernels, scratch_, searched)
                                : run_group(runs, next, filter_, kernels, scratch_, searched);
    }
    if (searched == Searched::Yes) {
        filter_one_by_one(runs);
    }
    return searched == Searched::Yes;
}

template <class Sample>
std::size_t SetFilter<Sample>::lanes_at_once() const {
    return lane_kernels<Sample>(path_).lane_count(filter_.tap_count(), MAX_LANE_COUNT);
}

template <class Sample>
void SetFilter<Sample>::filter_one_by_one(Runs<Sample> runs) {
    const bool has_result = path_ == FilterPath::Plain || !filter_.has_missing_coefficient();
    for (const Run<Sample>& run : runs) {
        if (has_result) {
            filter_run(run, filter_);
        } else {
            fill_missing(run.target());
        }
    }
}

template class SetFilter<float>;
template class SetFilter<double>;

} // namespace talvora::dsp
