#include "host/tables/time_grid.h"

#include "host/text/failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace talvora::host {
namespace {

// Times span far more than the rows when their unit or their column is mistaken;
// the limit keeps such a table from filling the memory.
constexpr std::uint64_t MAX_SAMPLES_PER_ROW = 1000;

std::vector<double> measure_steps(std::span<const double> times, const std::string& source) {
    std::vector<double> steps;
    for (std::size_t i = 0; i < times.size(); ++i) {
        if (!std::isfinite(times[i])) {
            throw Failure(ExitCode::Input,
                          fmt::format("{}: row {}: a time cannot be {} (allowed: finite numbers)",
                                      source, i + FIRST_ROW_NUMBER, times[i]));
        }
        if (i > 0 && times[i] < times[i - 1]) {
            throw Failure(ExitCode::Input,
                          fmt::format("{}: time goes back from {} to {} in row {}", source,
                                      times[i - 1], times[i], i + FIRST_ROW_NUMBER),
                          {"sort the rows by time, or leave the times aside with --rate"});
        }
        if (i > 0) {
            steps.push_back(times[i] - times[i - 1]);
        }
    }
    return steps;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

double estimate_period(std::span<const double> steps, const std::string& source) {
    const double typical = median({steps.begin(), steps.end()});
    if (!(typical > 0)) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: most rows have the time of the row before", source),
                      {"give the sample rate: --rate HZ"});
    }
    double sum = 0;
    std::size_t count = 0;
    for (const double step : steps) {
        if (step > 0.5 * typical && step < 1.5 * typical) {
            sum += step;
            ++count;
        }
    }
    return sum / static_cast<double>(count);
}

std::vector<std::uint64_t> count_periods(std::span<const double> steps, double period,
                                         const std::string& source) {
    const auto limit = static_cast<double>(MAX_SAMPLES_PER_ROW * (steps.size() + 1));
    const double total = std::reduce(steps.begin(), steps.end()) / period;
    if (!(total <= limit)) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: {} rows span {:.0f} samples of {} s", source,
                                  steps.size() + 1, total, period),
                      {"is this the time column, and in seconds?"});
    }
    std::vector<std::uint64_t> counts;
    for (const double step : steps) {
        counts.push_back(static_cast<std::uint64_t>(std::llround(step / period)));
    }
    return counts;
}

// A row stamped late looks like a gap followed by a crowd, one stamped early like a
// crowd followed by a gap: such a row belongs into the gap beside it.
void move_crowded_rows_into_gaps(std::span<std::uint64_t> counts) {
    for (std::size_t i = 0; i < counts.size(); ++i) {
        if (counts[i] != 0) {
            continue;
        }
        if (i > 0 && counts[i - 1] > 1) {
            --counts[i - 1];
            ++counts[i];
        } else if (i + 1 < counts.size() && counts[i + 1] > 1) {
            --counts[i + 1];
            ++counts[i];
        }
    }
}

} // namespace

TimeGrid place_on_grid(std::span<const double> times, const std::string& source) {
    const std::vector<double> steps = measure_steps(times, source);
    if (steps.empty()) {
        throw Failure(ExitCode::Input, fmt::format("{}: one row gives no sample rate", source),
                      {"give the sample rate: --rate HZ"});
    }
    const double period = estimate_period(steps, source);
    std::vector<std::uint64_t> counts = count_periods(steps, period, source);
    move_crowded_rows_into_gaps(counts);

    TimeGrid grid{.start_time = times.front(), .sample_rate = 1 / period, .sample_of_row = {0}};
    for (const std::uint64_t count : counts) {
        grid.sample_of_row.push_back(grid.sample_of_row.back() + count);
    }
    grid.sample_count = grid.sample_of_row.back() + 1;
    return grid;
}

} // namespace talvora::host
