#include "host/tables/time_column.h"

#include "host/tables/column_name.h"
#include "host/text/ascii.h"
#include "host/text/failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string_view>

namespace talvora::host {
namespace {

struct TimeUnit {
    std::string_view name;
    double per_second;
};
constexpr TimeUnit TIME_UNITS[] = {{"s", 1},    {"sec", 1},    {"ms", 1e3}, {"msec", 1e3},
                                   {"us", 1e6}, {"usec", 1e6}, {"µs", 1e6}};
// Those that names end in and that are refused in place of being taken for seconds.
constexpr std::string_view OTHER_UNITS[] = {"ns", "nsec", "min", "minutes", "h", "hours", "days"};

bool is_other_unit(std::string_view text) {
    return std::ranges::find(OTHER_UNITS, text) != std::end(OTHER_UNITS);
}

// "time_ms" and "time/ms" are "time" in "ms", where that is a unit of time.
ColumnName split_time(std::string_view text) {
    const ColumnName bracketed = split_unit(text);
    if (bracketed.unit) {
        return bracketed;
    }
    const std::size_t at = text.find_last_of("_/-.");
    const std::string_view tail = at == std::string_view::npos ? "" : text.substr(at + 1);
    return is_unit_of_time(tail) || is_other_unit(tail) ? ColumnName{text.substr(0, at), tail}
                                                        : bracketed;
}

void refuse_untold_unit(const NumberColumn& column, const std::string& source) {
    if (const auto beyond = find_no_second(column.values)) {
        throw Failure(
            ExitCode::Usage,
            fmt::format("{}: column '{}' holds {}, beyond the year 5000 in seconds, and tells no "
                        "unit (known: s, ms, us)",
                        source, column.name, *beyond),
            {fmt::format("write the unit behind its name in the table, such as '{} (ms)', or leave "
                         "the times aside: --rate HZ --time ''",
                         column.name)});
    }
}

const std::vector<double>& read_dates(const NumberColumn& column, std::size_t first_row,
                                      const std::string& source) {
    if (!column.holds_dates()) {
        throw Failure(
            ExitCode::Input,
            fmt::format("{}: row {}, column '{}': '{}' is no time (allowed: {}, as above)", source,
                        first_row + column.dates.size(), column.name, column.first_undated_text,
                        column.dates_have_zone ? "2026-11-21T09:30:00.125Z"
                                               : "2026-11-21 09:30:00.125"),
            {"name another column: --time COLUMN, or leave the times aside: --rate HZ --time ''"});
    }
    return column.dates;
}

} // namespace

bool is_named_time(std::string_view text) {
    std::string name(split_time(text).name);
    std::ranges::transform(name, name.begin(), to_lower);
    const bool is_short = name == "t" && split_unit(text).name.size() == name.size(); // no "T_s"
    return name == "time" || is_short;
}

std::optional<double> find_no_second(std::span<const double> times) {
    constexpr double LATEST_SECOND = 1e11; // in the year 5138; people are told of 5000
    const auto beyond =
        std::ranges::find_if(times, [](double time) { return std::abs(time) >= LATEST_SECOND; });
    return beyond == times.end() ? std::nullopt : std::optional(*beyond);
}

bool is_unit_of_time(std::string_view unit) {
    return std::ranges::find(TIME_UNITS, unit, &TimeUnit::name) != std::end(TIME_UNITS);
}

std::vector<double> read_seconds(const NumberColumn& column, std::size_t first_row,
                                 const std::string& source) {
    if (!column.dates.empty()) {
        return read_dates(column, first_row, source);
    }
    const auto named = split_time(column.name).unit;
    const std::string_view unit = column.unit.empty() ? named.value_or("s") : column.unit;
    if (column.unit.empty() && !named) {
        refuse_untold_unit(column, source);
    }
    const auto known = std::ranges::find(TIME_UNITS, unit, &TimeUnit::name);
    if (known == std::end(TIME_UNITS)) {
        throw Failure(ExitCode::Usage,
                      fmt::format("{}: column '{}' is a time in '{}' (known: s, ms, us)", source,
                                  column.name, unit));
    }
    if (column.missing_count > 0) {
        throw Failure(
            ExitCode::Input,
            fmt::format("{}: row {}, column '{}': '{}' is no time (allowed: a number of "
                        "{} with a decimal point)",
                        source, column.first_missing_row, column.name, column.first_missing_text,
                        unit),
            {"name another column: --time COLUMN, or leave the times aside: --rate HZ --time ''"});
    }
    std::vector<double> seconds = column.values;
    for (double& second : seconds) {
        second /= known->per_second;
    }
    return seconds;
}

} // namespace talvora::host
