#include "host/tables/time_column.h"

#include "host/tables/column_name.h"
#include "host/text/ascii.h"
#include "host/text/failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <string_view>

namespace talvora::host {
namespace {

struct TimeUnit {
    std::string_view name;
    double per_second;
};
constexpr TimeUnit TIME_UNITS[] = {{"s", 1}, {"ms", 1e3}, {"us", 1e6}, {"µs", 1e6}};

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
    std::string name(split_unit(text).name);
    std::ranges::transform(name, name.begin(), to_lower);
    return name == "time" || name == "t";
}

bool is_unit_of_time(std::string_view unit) {
    return std::ranges::find(TIME_UNITS, unit, &TimeUnit::name) != std::end(TIME_UNITS);
}

std::vector<double> read_seconds(const NumberColumn& column, std::size_t first_row,
                                 const std::string& source) {
    if (!column.dates.empty()) {
        return read_dates(column, first_row, source);
    }
    const std::string_view unit =
        column.unit.empty() ? split_unit(column.name).unit.value_or("s") : column.unit;
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
