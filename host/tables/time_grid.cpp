#include "host/tables/time_grid.h"

#include "host/tables/round_number.h"
#include "host/tables/time_ticks.h"
#include "host/text/failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace talvora::host {
namespace {

// Times span far more than the rows when their unit or their column is mistaken;
// the limit keeps such a table from filling the memory.
constexpr std::uint64_t MAX_SAMPLES_PER_ROW = 1000;

// In Hz. What is beyond them was more often a wrong unit than a recording.
constexpr double LEAST_RATE = 0.01;
constexpr double GREATEST_RATE = 1e7;

std::vector<double> measure_steps(std::span<const double> times, std::size_t first_row,
                                  const std::string& source) {
    std::vector<double> steps;
    for (std::size_t i = 0; i < times.size(); ++i) {
        if (!std::isfinite(times[i])) {
            throw Failure(ExitCode::Input,
                          fmt::format("{}: row {}: a time cannot be {} (allowed: finite numbers)",
                                      source, i + first_row, times[i]));
        }
        if (i > 0 && times[i] < times[i - 1]) {
            throw Failure(ExitCode::Input,
                          fmt::format("{}: time goes back from {} to {} in row {}", source,
                                      times[i - 1], times[i], i + first_row),
                          {"sort the rows by time, or leave the times aside: --rate HZ --time ''"});
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

// ---------------------------------------------------------------------------
// Steps in samples

std::vector<std::uint64_t> count_periods(std::span<const double> steps, double sample_rate) {
    std::vector<std::uint64_t> counts;
    for (const double step : steps) {
        counts.push_back(static_cast<std::uint64_t>(std::llround(step * sample_rate)));
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

// The sample of each row, placed step by step.
std::vector<std::uint64_t> count_samples_on(std::span<const double> steps, double sample_rate) {
    std::vector<std::uint64_t> counts = count_periods(steps, sample_rate);
    move_crowded_rows_into_gaps(counts);
    std::vector<std::uint64_t> samples = {0};
    for (const std::uint64_t count : counts) {
        samples.push_back(samples.back() + count);
    }
    return samples;
}

// ---------------------------------------------------------------------------
// The rate

// The steps that are neither crowds nor gaps, and what is known of them.
struct RegularSteps {
    double sum = 0;
    std::size_t count = 0;
    std::size_t run_count = 0; // of steps one behind the other
    double least = std::numeric_limits<double>::infinity();
    double greatest = 0;
};

RegularSteps gather_regular_steps(std::span<const double> steps, double typical) {
    constexpr double ROUNDING = 1e-9; // steps of 2 and 3 ticks belong together, as 3 is 1.5 times 2
    RegularSteps regular;
    bool was_regular = false;
    for (const double step : steps) {
        const bool is_regular =
            step > (0.5 + ROUNDING) * typical && step < (1.5 + ROUNDING) * typical;
        if (is_regular) {
            regular.sum += step;
            ++regular.count;
            regular.run_count += was_regular ? 0 : 1;
            regular.least = std::min(regular.least, step);
            regular.greatest = std::max(regular.greatest, step);
        }
        was_regular = is_regular;
    }
    return regular;
}

// The ticks in which the times are told; 0 where all regular steps are alike, which rounding would
// have made differ.
double find_own_tick(std::span<const double> times, const RegularSteps& regular) {
    return std::min(find_tick(times), regular.greatest - regular.least);
}

// Each run of regular steps begins and ends at a time that is rounded to a tick, and to a double.
PeriodRange find_mean_period(std::span<const double> times, const RegularSteps& regular) {
    const auto count = static_cast<double>(regular.count);
    const double uncertainty = static_cast<double>(regular.run_count) *
                               (find_own_tick(times, regular) + rounding_of(times));
    const double known = std::min(uncertainty, regular.sum / 2);
    return {(regular.sum - known) / count, (regular.sum + known) / count};
}

double choose_roundest_rate(const PeriodRange& periods) {
    const double rate = roundest_between(1 / periods.longest, 1 / periods.shortest);
    const double period = roundest_between(periods.shortest, periods.longest);
    return count_digits(period) < count_digits(rate) ? 1 / period : rate;
}

double find_typical_step(std::span<const double> steps, const std::string& source) {
    const double typical = median({steps.begin(), steps.end()});
    if (!(typical > 0)) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: most rows have the time of the row before", source),
                      {"give the sample rate: --rate HZ"});
    }
    return typical;
}

void check_rate(double sample_rate, const std::string& source) {
    if (!(sample_rate >= LEAST_RATE && sample_rate <= GREATEST_RATE)) {
        throw Failure(
            ExitCode::Input,
            fmt::format("{}: the times give a rate of {:.6g} Hz (allowed: {} Hz to {:.0f} Hz)",
                        source, sample_rate, LEAST_RATE, GREATEST_RATE),
            {"is this the time column, and in this unit?  else give the rate: --rate HZ"});
    }
}

// ---------------------------------------------------------------------------
// The rows

void check_span(std::span<const double> times, double sample_rate, const std::string& source) {
    const double sample_count = (times.back() - times.front()) * sample_rate;
    if (!(sample_count <= static_cast<double>(MAX_SAMPLES_PER_ROW * times.size()))) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: {} rows span {:.0f} samples of {} s", source, times.size(),
                                  sample_count, 1 / sample_rate),
                      {"is this the time column, and in seconds?"});
    }
}

// Rows with samples of their own.
struct PlacedTimes {
    std::vector<double> times;
    std::vector<std::uint64_t> samples;
};

// Of rows that share a sample the one that comes more nearly when it is due after those before.
PlacedTimes leave_out_crowds(std::span<const double> times, std::span<const std::uint64_t> samples,
                             double period) {
    PlacedTimes placed;
    const auto lateness = [&](double time, std::uint64_t sample) {
        const std::size_t before = placed.times.size() - 2;
        const auto steps = static_cast<double>(sample - placed.samples[before]);
        return std::abs(time - placed.times[before] - steps * period);
    };
    for (std::size_t row = 0; row < times.size(); ++row) {
        if (placed.samples.empty() || placed.samples.back() != samples[row]) {
            placed.times.push_back(times[row]);
            placed.samples.push_back(samples[row]);
        } else if (placed.times.size() > 1 && lateness(times[row], samples[row]) <
                                                  lateness(placed.times.back(), samples[row])) {
            placed.times.back() = times[row];
        }
    }
    return placed;
}

// That of the regular steps, or where all rows are told as they would be at one rate, the gaps
// between them included, that one: the whole span knows it better than steps between two gaps.
double find_rate(std::span<const double> times, std::span<const double> steps,
                 const std::string& source) {
    const RegularSteps regular = gather_regular_steps(steps, find_typical_step(steps, source));
    const double rate = choose_roundest_rate(find_mean_period(times, regular));
    check_rate(rate, source);
    check_span(times, rate, source);
    const PlacedTimes placed = leave_out_crowds(times, count_samples_on(steps, rate), 1 / rate);
    const auto periods = find_periods(placed.times, placed.samples, find_own_tick(times, regular));
    return periods ? choose_roundest_rate(*periods) : rate;
}

// A grid without rows yet.
TimeGrid find_grid(std::span<const double> times, std::span<const double> steps,
                   std::optional<double> sample_rate, const std::string& source) {
    if (steps.empty()) {
        throw Failure(ExitCode::Input, fmt::format("{}: one row gives no sample rate", source),
                      {"give the sample rate: --rate HZ"});
    }
    const double rate = sample_rate ? *sample_rate : find_rate(times, steps, source);
    check_span(times, rate, source);
    return {.start_time = times.front(), .sample_rate = rate, .sample_of_row = {}};
}

void place_by_steps(std::span<const double> steps, TimeGrid& grid) {
    grid.sample_of_row = count_samples_on(steps, grid.sample_rate);
    grid.sample_count = grid.sample_of_row.back() + 1;
}

void place_at_nearest(std::span<const double> times, TimeGrid& grid) {
    std::vector<std::uint64_t>& samples = grid.sample_of_row;
    const auto distance = [&](std::size_t row, std::uint64_t sample) {
        return std::abs(times[row] - grid.time_of(sample));
    };
    std::size_t kept = 0;
    for (std::size_t row = 0; row < times.size(); ++row) {
        const auto sample = static_cast<std::uint64_t>(
            std::llround((times[row] - grid.start_time) * grid.sample_rate));
        samples.push_back(sample);
        if (row > 0 && sample == samples[kept]) {
            const bool is_nearer = distance(row, sample) < distance(kept, sample);
            samples[is_nearer ? kept : row] = LEFT_OUT;
            kept = is_nearer ? row : kept;
        } else {
            kept = row;
        }
    }
    grid.sample_count = samples[kept] + 1;
}

// A sample at the time of a row, as near as numbers can tell, is that row.
constexpr double SAME_TIME_SAMPLES = 1e-6;

void place_between(std::span<const double> times, double max_gap_samples, TimeGrid& grid) {
    const double span = (times.back() - times.front()) * grid.sample_rate;
    grid.sample_count = static_cast<std::uint64_t>(span + SAME_TIME_SAMPLES) + 1;
    const double tolerance = SAME_TIME_SAMPLES / grid.sample_rate;
    std::size_t row = 0;
    for (std::uint64_t sample = 0; sample < grid.sample_count; ++sample) {
        const double time = grid.time_of(sample);
        while (row + 1 < times.size() && times[row + 1] <= time + tolerance) {
            ++row;
        }
        BetweenRows& between = grid.between_rows.emplace_back(BetweenRows{.row = row});
        if (row + 1 < times.size() && time > times[row] + tolerance) {
            const double gap = times[row + 1] - times[row];
            const bool is_far = gap * grid.sample_rate > max_gap_samples + SAME_TIME_SAMPLES;
            between.share =
                is_far ? std::numeric_limits<double>::quiet_NaN() : (time - times[row]) / gap;
        }
    }
}

} // namespace

double TimeGrid::time_of(std::uint64_t sample) const {
    return start_time + static_cast<double>(sample) / sample_rate;
}

bool TimeGrid::leaves_out(std::size_t row) const {
    return sample_of_row[row] == LEFT_OUT ||
           (row > 0 && sample_of_row[row] == sample_of_row[row - 1]);
}

TimeGrid place_on_grid(std::span<const double> times, const std::string& source,
                       const GridChoice& choice) {
    const std::vector<double> steps = measure_steps(times, choice.first_row, source);
    TimeGrid grid = find_grid(times, steps, choice.sample_rate, source);
    switch (choice.placement) {
    case Placement::Steps:
        place_by_steps(steps, grid);
        break;
    case Placement::Nearest:
        place_at_nearest(times, grid);
        break;
    case Placement::Linear:
        place_between(times, choice.max_gap_samples, grid);
        break;
    }
    return grid;
}

} // namespace talvora::host
