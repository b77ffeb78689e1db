#include "dsp/filter_set.h"

#include "dsp/lane_filter.h"
#include "dsp/long_run.h"
#include "dsp/missing_samples.h"

#include <algorithm>

namespace talvora::dsp {

namespace {

// Runs collected before they are filtered: enough to find sixteen of similar length,
// while their list stays in the first-level caches.
constexpr std::size_t MAX_COLLECTED_RUN_COUNT = 2048;
constexpr std::size_t ENOUGH_SAMPLES = 256U << 10U;
// Runs of one length need no others to choose from: a quarter of the second-level cache.
constexpr std::size_t ENOUGH_SAMPLES_OF_ONE_LENGTH = 32U << 10U;

void filter_run(std::span<float> run, const PreparedFilter& filter) {
    const std::vector<double> x(run.begin(), run.end());
    const std::vector<double> y = zero_phase_filter(x, filter);
    // A result beyond the range of a float becomes an infinity.
    std::ranges::transform(y, run.begin(),
                           [](double sample) { return static_cast<float>(sample); });
}

const LaneKernels& lane_kernels(FilterPath path) {
    switch (path) {
    case FilterPath::Avx512:
        return AVX512_LANE_KERNELS;
    case FilterPath::Avx2:
        return AVX2_LANE_KERNELS;
    default:
        return SSE2_LANE_KERNELS;
    }
}

} // namespace

bool can_take(FilterPath path) {
    switch (path) {
    case FilterPath::Avx512:
        return __builtin_cpu_supports("avx512f") != 0;
    case FilterPath::Avx2:
        return __builtin_cpu_supports("avx2") != 0;
    default:
        return true; // every x86-64 processor has SSE2
    }
}

FilterPath best_filter_path() {
    for (const FilterPath path : {FilterPath::Avx512, FilterPath::Avx2}) {
        if (can_take(path)) {
            return path;
        }
    }
    return FilterPath::Sse2;
}

void SetFilter::filter_in_place(std::span<float> samples, std::uint64_t line_length,
                                const FilterCoefficients& coefficients) {
    const std::size_t tap_count = std::max(coefficients.b.size(), coefficients.a.size());
    if (tap_count == 0 || line_length < 3 * tap_count - 1) {
        return; // no line holds a run that is long enough
    }
    prepare(coefficients);
    for (; samples.size() >= line_length; samples = samples.subspan(line_length)) {
        collect_runs(samples.first(line_length), samples);
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
            if (collected_sample_count_ <= 2 * ENOUGH_SAMPLES) { // or they would be gone again
                scratch_.upcoming = UpcomingSamples(line_and_rest.subspan(end));
            }
            filter_collected_runs();
        }
    }
    const ValidRun& last = line_runs_.back();
    fill_missing(line.first(static_cast<std::size_t>(line_runs_.front().start)));
    fill_missing(line.subspan(static_cast<std::size_t>(last.start + last.length)));
}

bool SetFilter::has_enough_runs() const {
    const bool have_one_length = runs_.front().size() == runs_.back().size();
    const std::size_t enough = have_one_length ? ENOUGH_SAMPLES_OF_ONE_LENGTH : ENOUGH_SAMPLES;
    return runs_.size() == MAX_COLLECTED_RUN_COUNT ||
           (runs_.size() % MAX_LANE_COUNT == 0 && collected_sample_count_ >= enough);
}

void SetFilter::filter_collected_runs() {
    // Runs side by side should have like lengths; whole lines have already.
    if (!std::ranges::is_sorted(runs_, std::ranges::greater{}, &std::span<float>::size)) {
        std::ranges::stable_sort(runs_, std::ranges::greater{}, &std::span<float>::size);
    }
    for (std::span<const std::span<float>> rest = runs_; !rest.empty();) {
        const std::size_t count = std::min(rest.size(), MAX_LANE_COUNT);
        filter_together(rest.first(count));
        rest = rest.subspan(count);
    }
    runs_.clear();
    collected_sample_count_ = 0;
    scratch_.upcoming = {};
}

void SetFilter::filter_together(std::span<const std::span<float>> runs) {
    if (path_ == FilterPath::Plain || filter_.tap_count() == 1) {
        std::ranges::for_each(runs, [this](std::span<float> run) { filter_run(run, filter_); });
    } else if (filter_.has_missing_coefficient()) {
        std::ranges::for_each(runs, fill_missing);
    } else if (runs.size() == 1) {
        filter_long_run(runs[0], filter_, lane_kernels(path_), scratch_);
    } else {
        filter_side_by_side(runs, filter_, lane_kernels(path_), scratch_);
    }
}

void filter_set_in_place(std::span<float> samples, std::uint64_t line_length,
                         const FilterCoefficients& coefficients, FilterPath path) {
    SetFilter(path).filter_in_place(samples, line_length, coefficients);
}

} // namespace talvora::dsp
