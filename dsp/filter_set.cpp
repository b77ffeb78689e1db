#include "dsp/filter_set.h"

#include "dsp/lane_filter.h"
#include "dsp/lane_kernels.h"
#include "dsp/long_run.h"
#include "dsp/missing_samples.h"

#include <algorithm>

namespace talvora::dsp {

namespace {

// Runs collected before they are filtered: enough to find some of similar length,
// while their list stays in the first-level caches, and no more than a megabyte of samples,
// which the caches still hold when they are filtered after the search.
constexpr std::size_t MAX_COLLECTED_RUN_COUNT = 2048;
constexpr std::size_t ENOUGH_SAMPLES = 256U << 10U;

void filter_run(std::span<float> run, const PreparedFilter& filter) {
    const std::vector<double> x(run.begin(), run.end());
    const std::vector<double> y = zero_phase_filter(x, filter);
    // A result beyond the range of a float becomes an infinity.
    std::ranges::transform(y, run.begin(),
                           [](double sample) { return static_cast<float>(sample); });
}

} // namespace

void SetFilter::filter_in_place(std::span<float> samples, std::uint64_t line_length,
                                const FilterCoefficients& coefficients) {
    const std::size_t tap_count = std::max(coefficients.b.size(), coefficients.a.size());
    if (tap_count == 0 || line_length < 3 * tap_count - 1) {
        return; // no line holds a run that is long enough
    }
    prepare(coefficients);
    while (samples.size() >= line_length) {
        samples = take_lines(samples, line_length);
    }
    filter_collected_runs();
}

// Sets that follow each other mostly have one sample rate, and so one filter.
void SetFilter::prepare(const FilterCoefficients& coefficients) {
    if (coefficients.b != coefficients_.b || coefficients.a != coefficients_.a) {
        filter_ = prepare_filter(coefficients);
        coefficients_ = coefficients;
    }
}

// Filters as many lines as there are lanes, or collects their runs; gives the samples after them.
std::span<float> SetFilter::take_lines(std::span<float> samples, std::size_t line_length) {
    lines_.clear();
    std::span<float> rest = samples;
    for (; rest.size() >= line_length && lines_.size() < lanes_at_once();
         rest = rest.subspan(line_length)) {
        lines_.push_back(rest.first(line_length));
    }
    if (!expects_whole_lines_ || !filter_whole_lines(rest)) {
        expects_whole_lines_ = true;
        for (const std::span<float> line : lines_) {
            collect_runs(line, samples);
            samples = samples.subspan(line_length);
            expects_whole_lines_ = expects_whole_lines_ && is_one_run(line);
        }
    }
    return rest;
}

// False, and they are as they were, when a sample may be missing.
bool SetFilter::filter_whole_lines(std::span<const float> rest) {
    ask_for(rest, lines_.size() * lines_.front().size());
    const bool filtered = filter_together(lines_, Searched::No);
    scratch_.upcoming = {};
    return filtered;
}

// While `count` samples are filtered the next ones are asked of the memory, unless these are so
// many that those would be gone again.
void SetFilter::ask_for(std::span<const float> rest, std::size_t count) {
    if (count <= 2 * ENOUGH_SAMPLES) {
        scratch_.upcoming = UpcomingSamples(rest);
    }
}

bool SetFilter::is_one_run(std::span<const float> line) const {
    return !line_runs_.empty() &&
           static_cast<std::size_t>(line_runs_.front().length) == line.size();
}

void SetFilter::collect_runs(std::span<float> line, std::span<const float> line_and_rest) {
    find_valid_runs(line, 3 * static_cast<std::int64_t>(filter_.tap_count()) - 1, line_runs_);
    if (line_runs_.empty()) {
        return;
    }
    for (const ValidRun& run : line_runs_) {
        runs_.push_back(line.subspan(static_cast<std::size_t>(run.start),
                                     static_cast<std::size_t>(run.length)));
        collected_sample_count_ += static_cast<std::size_t>(run.length);
        if (has_enough_runs()) {
            const auto end = static_cast<std::size_t>(run.start + run.length);
            ask_for(line_and_rest.subspan(end), collected_sample_count_);
            filter_collected_runs();
        }
    }
    const ValidRun& last = line_runs_.back();
    fill_missing(line.first(static_cast<std::size_t>(line_runs_.front().start)));
    fill_missing(line.subspan(static_cast<std::size_t>(last.start + last.length)));
}

bool SetFilter::has_enough_runs() const {
    return runs_.size() == MAX_COLLECTED_RUN_COUNT ||
           (runs_.size() % lanes_at_once() == 0 && collected_sample_count_ >= ENOUGH_SAMPLES);
}

void SetFilter::filter_collected_runs() {
    // Runs side by side should have like lengths; whole lines have already.
    if (!std::ranges::is_sorted(runs_, std::ranges::greater{}, &std::span<float>::size)) {
        std::ranges::stable_sort(runs_, std::ranges::greater{}, &std::span<float>::size);
    }
    for (std::span<const std::span<float>> rest = runs_; !rest.empty();) {
        const std::size_t count = std::min(rest.size(), lanes_at_once());
        filter_together(rest.first(count), Searched::Yes);
        rest = rest.subspan(count);
    }
    runs_.clear();
    collected_sample_count_ = 0;
    scratch_.upcoming = {};
}

// False, and they are as they were, when they were not searched and a sample may be missing.
bool SetFilter::filter_together(std::span<const std::span<float>> runs, Searched searched) {
    const bool fills_lanes =
        path_ != FilterPath::Plain && filter_.tap_count() > 1 && !filter_.has_missing_coefficient();
    if (fills_lanes) {
        const LaneKernels& kernels = lane_kernels(path_);
        return runs.size() == 1 ? filter_long_run(runs[0], filter_, kernels, scratch_, searched)
                                : filter_side_by_side(runs, filter_, kernels, scratch_, searched);
    }
    if (searched == Searched::Yes) {
        filter_one_by_one(runs);
    }
    return searched == Searched::Yes;
}

std::size_t SetFilter::lanes_at_once() const {
    return lane_kernels(path_).lanes_at_once(filter_.tap_count());
}

void SetFilter::filter_one_by_one(std::span<const std::span<float>> runs) {
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
