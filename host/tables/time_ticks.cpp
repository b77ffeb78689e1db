#include "host/tables/time_ticks.h"

#include "host/tables/round_number.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace talvora::host {
namespace {

// Rows and the samples that they are, from 0 on; without these they are one behind the other.
struct Rows {
    std::span<const double> times;
    std::span<const std::uint64_t> samples = {};

    double sample_of(std::size_t row) const {
        return static_cast<double>(samples.empty() ? row : samples[row]);
    }
    double step_count() const { return sample_of(times.size() - 1); }
    double span() const { return times.back() - times.front(); }
};

// Between the earliest and the latest that a row comes, in seconds: less than a tick where they are
// these samples. Convex in the period.
double measure_spread(const Rows& rows, double period) {
    double earliest = 0;
    double latest = 0;
    for (std::size_t row = 0; row < rows.times.size(); ++row) {
        const double late = rows.times[row] - rows.times.front() - rows.sample_of(row) * period;
        earliest = std::min(earliest, late);
        latest = std::max(latest, late);
    }
    return latest - earliest;
}

// Until nothing is left between the ends of a range of doubles, by thirds and by halves.
constexpr int THIRDS = 120;
constexpr int HALVES = 60;

double find_best_period(const Rows& rows, double shortest, double longest) {
    for (int step = 0; step < THIRDS; ++step) {
        const double third = (longest - shortest) / 3;
        if (measure_spread(rows, shortest + third) < measure_spread(rows, longest - third)) {
            longest -= third;
        } else {
            shortest += third;
        }
    }
    return (shortest + longest) / 2;
}

// The last period from `good` on towards `bad` of which the spread is within the limit.
double find_end(const Rows& rows, double good, double bad, double limit) {
    for (int step = 0; step < HALVES; ++step) {
        const double middle = (good + bad) / 2;
        (measure_spread(rows, middle) <= limit ? good : bad) = middle;
    }
    return good;
}

std::optional<PeriodRange> find_range(const Rows& rows, double tick) {
    const double limit = tick + 4 * rounding_of(rows.times);
    const double step_count = rows.step_count();
    const double span = rows.span();
    // No period of that range is off by more than a tick at the last row: most times end here.
    if (!(tick > 0 && span > tick && step_count > 0) ||
        measure_spread(rows, span / step_count) > limit + tick) {
        return std::nullopt;
    }
    const double shortest = (span - tick) / step_count;
    const double longest = (span + tick) / step_count;
    const double best = find_best_period(rows, shortest, longest);
    if (measure_spread(rows, best) > limit) {
        return std::nullopt;
    }
    return PeriodRange{find_end(rows, best, shortest, limit), find_end(rows, best, longest, limit)};
}

// The range of rates at which rows one behind the other would be told these times, by its roundest.
std::optional<double> find_rate_within(std::span<const double> times, double tick) {
    const auto range = find_range({times}, tick);
    return range ? std::optional(roundest_between(1 / range->longest, 1 / range->shortest))
                 : std::nullopt;
}

} // namespace

double find_tick(std::span<const double> times) {
    constexpr double ROUNDING = 4 * std::numeric_limits<double>::epsilon();
    constexpr int MOST_DIGITS = 15;
    for (int digits = 0; digits < MOST_DIGITS; ++digits) {
        const double ticks_per_second = std::pow(10, digits);
        const auto is_multiple = [&](double time) {
            const double ticks = time * ticks_per_second;
            return std::abs(ticks - std::round(ticks)) <= ROUNDING * std::abs(ticks);
        };
        if (std::ranges::all_of(times, is_multiple)) {
            return 1 / ticks_per_second;
        }
    }
    return 0;
}

double rounding_of(std::span<const double> times) {
    return 4 * std::numeric_limits<double>::epsilon() *
           std::max(std::abs(times.front()), std::abs(times.back()));
}

bool is_unbroken_at(std::span<const double> times, double sample_rate) {
    return measure_spread({times}, 1 / sample_rate) < find_tick(times) - rounding_of(times);
}

std::optional<PeriodRange> find_periods(std::span<const double> times,
                                        std::span<const std::uint64_t> samples, double tick) {
    return find_range({times, samples}, tick);
}

std::optional<double> find_unbroken_rate(std::span<const double> times) {
    return find_rate_within(times, find_tick(times));
}

std::optional<UnbrokenRows> find_unbroken_rows(std::span<const double> times,
                                               std::span<const std::size_t> rows_before_gaps,
                                               std::size_t gap_count) {
    const double tick = find_tick(times);
    if (const auto rate = find_rate_within(times, tick)) {
        return UnbrokenRows{0, times.size(), *rate};
    }
    // From the row before gap `first` to the row behind gap `last`.
    const auto find_between = [&](std::size_t first, std::size_t last) {
        const std::size_t first_row = rows_before_gaps[first];
        const auto rows = times.subspan(first_row, rows_before_gaps[last] + 2 - first_row);
        const auto rate = find_rate_within(rows, tick);
        return rate ? std::optional(UnbrokenRows{first_row, rows.size(), *rate}) : std::nullopt;
    };
    for (std::size_t first = 0; first + gap_count <= rows_before_gaps.size(); ++first) {
        auto found = find_between(first, first + gap_count - 1);
        if (!found) {
            continue;
        }
        // The more rows, the better they tell the rate.
        std::size_t good = first + gap_count - 1;
        std::size_t bad = rows_before_gaps.size();
        while (bad - good > 1) {
            const std::size_t middle = good + (bad - good) / 2;
            const auto more = find_between(first, middle);
            found = more ? more : found;
            (more ? good : bad) = middle;
        }
        return found;
    }
    return std::nullopt;
}

} // namespace talvora::host
