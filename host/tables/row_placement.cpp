#include "host/tables/row_placement.h"

#include "host/tables/time_ticks.h"
#include "host/text/failure.h"
#include "host/text/plural.h"
#include "host/tree/rate_tolerance.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace talvora::host {
namespace {

// Rows that stand further from their times, or more of them left out, make no recording on a grid.
constexpr double MAX_DRIFT_SAMPLES = 0.5;
constexpr double MAX_SHARE_LEFT_OUT = 0.01;

struct RowsLeftOut {
    std::uint64_t count = 0;
    std::size_t first_row = 0;
};

RowsLeftOut find_rows_left_out(const TimeGrid& grid, std::size_t first_row) {
    RowsLeftOut rows;
    for (std::size_t row = 0; row < grid.sample_of_row.size(); ++row) {
        if (grid.leaves_out(row) && rows.count++ == 0) {
            rows.first_row = row + first_row;
        }
    }
    return rows;
}

std::uint64_t count_empty_samples(const TimeGrid& grid, std::uint64_t left_out_count) {
    return grid.between_rows.empty()
               ? grid.sample_count - (grid.sample_of_row.size() - left_out_count)
               : static_cast<std::uint64_t>(std::ranges::count_if(
                     grid.between_rows, [](const auto& at) { return std::isnan(at.share); }));
}

void report_grid(std::span<const double> times, const std::string& times_name,
                 const GridChoice& choice, const std::string& source, PlacedRows& placed) {
    const TimeGrid& grid = placed.grid;
    const RowsLeftOut left_out = find_rows_left_out(grid, choice.first_row);
    const bool is_linear = choice.placement == Placement::Linear;
    placed.infos.push_back(fmt::format(
        "{}: {} by '{}' {} {} at {:.6g} Hz; {} {}, NaN there", source,
        count_things(times.size() - left_out.count, "row"), times_name,
        is_linear ? "interpolated to" : "on", count_things(grid.sample_count, "sample"),
        grid.sample_rate, count_things(count_empty_samples(grid, left_out.count), "sample"),
        is_linear ? fmt::format("between rows more than {} samples apart", choice.max_gap_samples)
                  : "without a row"));
    if (left_out.count > 0) {
        placed.warnings.push_back(fmt::format(
            "{}: {} left out, {} (first: row {})", source, count_things(left_out.count, "row"),
            choice.placement == Placement::Nearest ? "another one is nearer to the same sample"
                                                   : "less than half a sample after the row before",
            left_out.first_row));
    }
}

Failure explain_misplacement(const std::string& text) {
    return {ExitCode::Input,
            text,
            {"--grid nearest places each row at its nearest sample, --grid linear interpolates "
             "between the rows",
             "--rate HZ leaves the times aside: rows are equally spaced then"}};
}

void refuse_many_left_out(const TimeGrid& grid, std::size_t first_row, const std::string& source) {
    const RowsLeftOut left_out = find_rows_left_out(grid, first_row);
    const auto row_count = static_cast<double>(grid.sample_of_row.size());
    const double share = static_cast<double>(left_out.count) / row_count;
    if (share > MAX_SHARE_LEFT_OUT) {
        throw explain_misplacement(fmt::format(
            "{}: {} of {} ({:.2g} %) less than half a sample after the row before, first row {} "
            "(allowed: {} %), on a grid of {:.6g} Hz",
            source, left_out.count, count_things(grid.sample_of_row.size(), "row"), 100 * share,
            left_out.first_row, 100 * MAX_SHARE_LEFT_OUT, grid.sample_rate));
    }
}

// Rows are placed step by step, so where the rate changes they drift from their times.
void refuse_drift(std::span<const double> times, const TimeGrid& grid, std::size_t first_row,
                  const std::string& source) {
    double largest = 0;
    std::size_t at_row = 0;
    for (std::size_t row = 0; row < grid.sample_of_row.size(); ++row) {
        const double distance = std::abs(times[row] - grid.time_of(grid.sample_of_row[row]));
        if (distance > largest && !grid.leaves_out(row)) {
            largest = distance;
            at_row = row;
        }
    }
    if (largest * grid.sample_rate > MAX_DRIFT_SAMPLES) {
        throw explain_misplacement(fmt::format(
            "{}: row {}, at {:.9g} s, stands {:.3g} samples ({:.3g} s) from its place on a grid of "
            "{:.6g} Hz (allowed: {} samples): the rows are not equally spaced",
            source, at_row + first_row, times[at_row], largest * grid.sample_rate, largest,
            grid.sample_rate, MAX_DRIFT_SAMPLES));
    }
}

// Fewer gaps lie regularly by chance, too.
constexpr std::size_t REGULAR_GAPS = 10;

std::vector<std::size_t> list_rows_before_gaps(const TimeGrid& grid) {
    std::vector<std::size_t> rows;
    for (std::size_t row = 0; row + 1 < grid.sample_of_row.size(); ++row) {
        if (grid.sample_of_row[row + 1] > grid.sample_of_row[row] + 1) {
            rows.push_back(row);
        }
    }
    return rows;
}

// Gaps that lie as regularly as the rounding of times would have them, if only for a while: a row
// that is really missing ends that.
std::optional<UnbrokenRows> find_other_reading(std::span<const double> times,
                                               const TimeGrid& grid) {
    const std::vector<std::size_t> gaps = list_rows_before_gaps(grid);
    return gaps.size() < REGULAR_GAPS ? std::nullopt
                                      : find_unbroken_rows(times, gaps, REGULAR_GAPS);
}

void refuse_two_readings(std::span<const double> times, const std::string& times_name,
                         const TimeGrid& grid, std::size_t first_row, const std::string& source) {
    const auto unbroken = find_other_reading(times, grid);
    if (!unbroken) {
        return;
    }
    const bool are_all = unbroken->count == times.size();
    const std::size_t begin = unbroken->first + first_row;
    throw Failure(
        ExitCode::Input,
        fmt::format("{}: '{}' has two readings: {} at {:.6g} Hz one behind the other, their times "
                    "cut to {:.6g} s, or {}at {:.6g} Hz with {} missing",
                    source, times_name,
                    are_all ? count_things(times.size(), "row")
                            : fmt::format("rows {} to {}", begin, begin + unbroken->count - 1),
                    unbroken->sample_rate, find_tick(times), are_all ? "" : "all ",
                    grid.sample_rate, grid.sample_count - times.size()),
        {are_all
             ? fmt::format("--rate {:.6g} takes them one behind the other", unbroken->sample_rate)
             : fmt::format("--rate {:.6g} --time '' takes all rows one behind the other",
                           unbroken->sample_rate),
         fmt::format("--rate {:.6g} --grid nearest takes them with gaps", grid.sample_rate)});
}

// Rows step by step, however their gaps lie.
TimeGrid place_by_steps(std::span<const double> times, const GridChoice& choice,
                        const std::string& source) {
    TimeGrid grid = place_on_grid(times, source, choice);
    refuse_many_left_out(grid, choice.first_row, source);
    refuse_drift(times, grid, choice.first_row, source);
    return grid;
}

std::optional<TimeGrid> try_to_place(std::span<const double> times) {
    try {
        return place_by_steps(times, {}, {});
    } catch (const Failure&) {
        return std::nullopt;
    }
}

// Of times that stand on a grid of their own; in others what looks like it is jitter.
std::optional<std::string> find_missing_rows(std::span<const double> times, double sample_rate,
                                             std::size_t first_row) {
    const auto grid = try_to_place(times);
    if (!grid || grid->sample_count <= times.size() || is_unbroken_at(times, sample_rate)) {
        return std::nullopt;
    }
    const auto other = find_other_reading(times, *grid);
    if (other && other->count == times.size()) {
        return std::nullopt;
    }
    const auto gap = std::ranges::adjacent_find(
        grid->sample_of_row,
        [](std::uint64_t sample, std::uint64_t next) { return next > sample + 1; });
    return fmt::format("by it {} of {} missing, the first behind row {}",
                       grid->sample_count - times.size(), count_things(grid->sample_count, "row"),
                       static_cast<std::size_t>(gap - grid->sample_of_row.begin()) + first_row);
}

// Of a row that has no time, or none behind those before; every row at one time tells as little.
std::optional<std::string> find_irregular_time(std::span<const double> times,
                                               std::size_t first_row) {
    const auto row_of = [&](auto time) {
        return static_cast<std::size_t>(time - times.begin()) + first_row;
    };
    const auto lacking =
        std::ranges::find_if(times, [](double time) { return !std::isfinite(time); });
    if (lacking != times.end()) {
        return fmt::format("by it row {} has no time", row_of(lacking));
    }
    const auto falling = std::ranges::adjacent_find(times, std::greater());
    if (falling != times.end()) {
        return fmt::format("by it row {} ({:.9g} s) comes before row {} ({:.9g} s)",
                           row_of(falling) + 1, falling[1], row_of(falling), falling[0]);
    }
    if (times.front() == times.back()) {
        return fmt::format("by it all {} rows are at {:.9g} s", times.size(), times.front());
    }
    return std::nullopt;
}

// Rows that are lost and others that are repeated leave the span as it is. The rate may be off as
// for the span, and clocks tell whole ticks.
std::optional<std::string> find_row_off(std::span<const double> times, double sample_rate,
                                        std::size_t first_row) {
    const double allowed = RATE_TOLERANCE * (times.back() - times.front()) + 1 / sample_rate +
                           find_tick(times) + rounding_of(times);
    for (std::size_t row = 0; row < times.size(); ++row) {
        const double late = times[row] - times.front() - static_cast<double>(row) / sample_rate;
        if (std::abs(late) > allowed) {
            return fmt::format("by it row {} comes {:.3g} s {} (allowed: {:.3g} s)",
                               row + first_row, std::abs(late), late > 0 ? "later" : "earlier",
                               allowed);
        }
    }
    return std::nullopt;
}

} // namespace

PlacedRows place_rows(std::span<const double> times, const std::string& times_name,
                      const GridChoice& choice, const std::string& source) {
    const bool by_steps = choice.placement == Placement::Steps;
    PlacedRows placed{.grid = by_steps ? place_by_steps(times, choice, source)
                                       : place_on_grid(times, source, choice),
                      .infos = {},
                      .warnings = {}};
    if (by_steps && !choice.sample_rate) {
        refuse_two_readings(times, times_name, placed.grid, choice.first_row, source);
    }
    report_grid(times, times_name, choice, source, placed);
    return placed;
}

std::optional<std::string> find_contradiction(std::span<const double> times, double sample_rate,
                                              std::size_t first_row) {
    if (times.size() < 2) {
        return std::nullopt;
    }
    if (auto irregular = find_irregular_time(times, first_row)) {
        return irregular;
    }
    const double span = times.back() - times.front();
    const auto step_count = static_cast<double>(times.size() - 1);
    const double told = step_count / sample_rate;
    if (std::abs(told - span) > RATE_TOLERANCE * span + 1.0 / sample_rate) {
        return fmt::format("by it the {} rows take {:.6g} s ({:.6g} Hz), not {:.6g} s",
                           times.size(), span, step_count / span, told);
    }
    auto missing = find_missing_rows(times, sample_rate, first_row);
    return missing ? missing : find_row_off(times, sample_rate, first_row);
}

void refuse_bad_grid(const GridChoice& choice) {
    if (choice.sample_rate && !(*choice.sample_rate > 0 && std::isfinite(*choice.sample_rate))) {
        throw Failure(ExitCode::Usage,
                      fmt::format("--rate {}: a sample rate is greater than 0 Hz and finite",
                                  *choice.sample_rate));
    }
    if (!(choice.max_gap_samples > 0 && std::isfinite(choice.max_gap_samples))) {
        throw Failure(ExitCode::Usage,
                      fmt::format("--max-gap {}: a number of samples is greater than 0 and finite",
                                  choice.max_gap_samples));
    }
}

} // namespace talvora::host
