#include "dsp/filter_set.h"

#include "dsp/long_run.h"
#include "dsp/made_samples.h"
#include "dsp/missing_samples.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace talvora::dsp {

namespace {

// Lines and runs collected before they are filtered: enough to find some of similar length,
// while their list stays in the first-level caches. Runs have been read by the search for missing
// samples: no more than a megabyte of them, which the caches still hold when they are filtered.
constexpr std::size_t MAX_COLLECTED_COUNT = 2048;
constexpr std::size_t ENOUGH_SAMPLES = 256U << 10U;

// Runs side by side should have like lengths; most lines have already. Those of one length stay in
// the order of their addresses, as they came from one set: a stable sort would ask for memory.
void sort_by_length(std::vector<std::span<float>>& runs) {
    if (!std::ranges::is_sorted(runs, std::ranges::greater{}, &std::span<float>::size)) {
        std::ranges::sort(runs, {}, [](std::span<float> run) {
            return std::pair(std::numeric_limits<std::size_t>::max() - run.size(), run.data());
        });
    }
}

// From this length on one run takes no longer than with others in lanes beside it.
constexpr std::size_t LONG_RUN = 4096;

// The first runs that are to be filtered together: as many as the lanes hold that those take which
// are at least half as long as the longest. It is filtered by itself where it is the only one of
// these, and where most lanes would be left empty and its parts are sure to fill them.
Runs first_group(Runs runs, const PreparedFilter& filter, const LaneKernels<float>& kernels) {
    const std::span<float> longest = runs.front();
    const auto end_of_like = std::ranges::partition_point(
        runs, [&](std::span<float> run) { return run.size() >= longest.size() / 2; });
    const auto like_count = static_cast<std::size_t>(end_of_like - runs.begin());
    const std::size_t most_lanes = kernels.lane_count(filter.tap_count(), MAX_LANE_COUNT);
    const bool alone =
        like_count == 1 ? longest.size() >= LONG_RUN
                        : 3 * like_count <= most_lanes && fills_lanes(longest, filter, most_lanes);
    const std::size_t count = alone ? 1 : kernels.lane_count(filter.tap_count(), like_count);
    return runs.first(std::min(runs.size(), count));
}

// Calls visit(group, rest) for groups of runs.
template <class Visit>
void for_each_group(Runs runs, const PreparedFilter& filter, const LaneKernels<float>& kernels,
                    Visit visit) {
    while (!runs.empty()) {
        const Runs group = first_group(runs, filter, kernels);
        runs = runs.subspan(group.size());
        visit(group, runs);
    }
}

void filter_run(std::span<float> run, const PreparedFilter& filter) {
    const std::vector<double> x(run.begin(), run.end());
    const std::vector<double> y = zero_phase_filter(x, filter);
    std::ranges::transform(y, run.begin(), narrowed_sample);
}

} // namespace

void SetFilter::filter_in_place(std::span<float> samples, std::uint64_t line_length,
                                const FilterCoefficients& coefficients) {
    add(samples, line_length, coefficients);
    finish();
}

void SetFilter::add(std::span<float> samples, std::uint64_t line_length,
                    const FilterCoefficients& coefficients) {
    const std::size_t tap_count = std::max(coefficients.b.size(), coefficients.a.size());
    if (tap_count == 0 || line_length < 3 * tap_count - 1) {
        return; // no line holds a run that is long enough
    }
    prepare(coefficients);
    for (; samples.size() >= line_length; samples = samples.subspan(line_length)) {
        lines_.push_back(samples.first(line_length));
        if (lines_.size() == MAX_COLLECTED_COUNT) {
            filter_lines();
        }
    }
}

void SetFilter::finish() {
    filter_lines();
    filter_runs();
}

// Sets that follow each other mostly have one sample rate, and so one filter.
void SetFilter::prepare(const FilterCoefficients& coefficients) {
    if (coefficients.b != coefficients_.b || coefficients.a != coefficients_.a) {
        finish();
        filter_ = prepare_filter(coefficients);
        coefficients_ = coefficients;
    }
}

void SetFilter::filter_lines() {
    sort_by_length(lines_);
    for_each_group(lines_, filter_, lane_kernels(path_),
                   [this](Runs lines, Runs next) { filter_or_search(lines, next); });
    lines_.clear();
}

// Filters lines whole, or collects their runs.
void SetFilter::filter_or_search(Runs lines, Runs next) {
    if (expects_whole_lines_ && filter_together(lines, next, Searched::No)) {
        return;
    }
    expects_whole_lines_ = true;
    for (const std::span<float> line : lines) {
        collect_runs(line);
        expects_whole_lines_ = expects_whole_lines_ && is_one_run(line);
    }
}

bool SetFilter::is_one_run(std::span<const float> line) const {
    return !line_runs_.empty() &&
           static_cast<std::size_t>(line_runs_.front().length) == line.size();
}

void SetFilter::collect_runs(std::span<float> line) {
    find_valid_runs(line, 3 * static_cast<std::int64_t>(filter_.tap_count()) - 1, line_runs_);
    if (line_runs_.empty()) {
        return;
    }
    for (const ValidRun& run : line_runs_) {
        runs_.push_back(line.subspan(static_cast<std::size_t>(run.start),
                                     static_cast<std::size_t>(run.length)));
        collected_sample_count_ += static_cast<std::size_t>(run.length);
        if (has_enough_runs()) {
            filter_runs();
        }
    }
    const ValidRun& last = line_runs_.back();
    fill_missing(line.first(static_cast<std::size_t>(line_runs_.front().start)));
    fill_missing(line.subspan(static_cast<std::size_t>(last.start + last.length)));
}

bool SetFilter::has_enough_runs() const {
    return runs_.size() == MAX_COLLECTED_COUNT ||
           (runs_.size() % lanes_at_once() == 0 && collected_sample_count_ >= ENOUGH_SAMPLES);
}

void SetFilter::filter_runs() {
    sort_by_length(runs_);
    for_each_group(runs_, filter_, lane_kernels(path_),
                   [this](Runs runs, Runs next) { filter_together(runs, next, Searched::Yes); });
    runs_.clear();
    collected_sample_count_ = 0;
}

// False, and they are as they were, when they were not searched and a sample may be missing.
bool SetFilter::filter_together(Runs runs, Runs next, Searched searched) {
    const bool has_lanes =
        path_ != FilterPath::Plain && filter_.tap_count() > 1 && !filter_.has_missing_coefficient();
    if (has_lanes) {
        const LaneKernels<float>& kernels = lane_kernels(path_);
        return runs.size() == 1 ? filter_long_run(runs[0], filter_, kernels, scratch_, searched)
                                : run_group(runs, next, filter_, kernels, scratch_, searched);
    }
    if (searched == Searched::Yes) {
        filter_one_by_one(runs);
    }
    return searched == Searched::Yes;
}

std::size_t SetFilter::lanes_at_once() const {
    return lane_kernels(path_).lane_count(filter_.tap_count(), MAX_LANE_COUNT);
}

void SetFilter::filter_one_by_one(Runs runs) {
    const bool has_result = path_ == FilterPath::Plain || !filter_.has_missing_coefficient();
    for (const std::span<float> run : runs) {
        if (has_result) {
            filter_run(run, filter_);
        } else {
            fill_missing(run);
        }
    }
}

} // namespace talvora::dsp
