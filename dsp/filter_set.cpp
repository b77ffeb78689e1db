#include "dsp/filter_set.h"

#include "dsp/missing_samples.h"
#include "dsp/valid_runs.h"
#include "dsp/zero_phase_filter.h"

#include <algorithm>
#include <vector>

namespace talvora::dsp {

namespace {

void filter_run(std::span<float> run, const PreparedFilter& filter) {
    const std::vector<double> x(run.begin(), run.end());
    const std::vector<double> y = zero_phase_filter(x, filter);
    // A result beyond the range of a float becomes an infinity.
    std::ranges::transform(y, run.begin(),
                           [](double sample) { return static_cast<float>(sample); });
}

void filter_line(std::span<float> line, const PreparedFilter& filter, std::vector<ValidRun>& runs) {
    const auto min_length = 3 * static_cast<std::int64_t>(filter.tap_count()) - 1;
    find_valid_runs(line, min_length, runs);
    if (runs.empty()) {
        return;
    }
    for (const ValidRun& run : runs) {
        filter_run(
            line.subspan(static_cast<std::size_t>(run.start), static_cast<std::size_t>(run.length)),
            filter);
    }
    const ValidRun& last = runs.back();
    fill_missing(line.first(static_cast<std::size_t>(runs.front().start)));
    fill_missing(line.subspan(static_cast<std::size_t>(last.start + last.length)));
}

} // namespace

bool can_take(FilterPath path) {
    return path == FilterPath::Plain;
}

FilterPath best_filter_path() {
    return FilterPath::Plain;
}

void filter_set_in_place(std::span<float> samples, std::uint64_t line_length,
                         const FilterCoefficients& coefficients, FilterPath) {
    const PreparedFilter filter = prepare_filter(coefficients);
    if (filter.tap_count() == 0 || line_length == 0) {
        return;
    }
    std::vector<ValidRun> runs;
    for (; samples.size() >= line_length; samples = samples.subspan(line_length)) {
        filter_line(samples.first(line_length), filter, runs);
    }
}

} // namespace talvora::dsp
