#include "host/tables/missing_values.h"

#include "host/text/plural.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace talvora::host {
namespace {

constexpr double LIKELY[] = {-999, -9999, -99999, -999999, -32768, 999, 9999, 99999, 999999};

LikelyMissing measure_others(const NumberColumn& column, double number) {
    LikelyMissing found{.number = number,
                        .least = std::numeric_limits<double>::infinity(),
                        .greatest = -std::numeric_limits<double>::infinity()};
    for (const double value : column.values) {
        if (value == number) {
            ++found.count;
        } else if (std::isfinite(value)) {
            found.least = std::min(found.least, value);
            found.greatest = std::max(found.greatest, value);
        }
    }
    return found;
}

bool is_far_outside(const LikelyMissing& found) {
    const double range = found.greatest - found.least;
    return range >= 0 &&
           (found.number < found.least - range || found.number > found.greatest + range);
}

} // namespace

void take_for_missing(NumberTable& table, std::span<const double> numbers) {
    for (NumberColumn& column : table.columns) {
        std::size_t count = 0;
        for (double& value : column.values) {
            if (std::ranges::find(numbers, value) != numbers.end()) {
                value = std::numeric_limits<double>::quiet_NaN();
                ++count;
            }
        }
        if (count > 0) {
            table.notes.push_back(fmt::format("column '{}': {} of --missing, NaN stands there",
                                              column.name, count_things(count, "number")));
        }
    }
}

// Such a number is the least or the greatest of its column.
std::optional<LikelyMissing> find_likely_missing(const NumberColumn& column) {
    double least = std::numeric_limits<double>::infinity();
    double greatest = -least;
    for (const double value : column.values) {
        least = value < least ? value : least;
        greatest = value > greatest ? value : greatest;
    }
    for (const double number : {least, greatest}) {
        if (std::ranges::find(LIKELY, number) == std::end(LIKELY)) {
            continue;
        }
        const LikelyMissing found = measure_others(column, number);
        if (found.count > 1 && is_far_outside(found)) {
            return found;
        }
    }
    return std::nullopt;
}

} // namespace talvora::host
