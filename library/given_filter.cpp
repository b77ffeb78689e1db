#include "library/given_filter.h"

#include "dsp/filter_stability.h"
#include "library/guarded_call.h"

#include <fmt/format.h>

#include <cmath>
#include <vector>

namespace talvora::library {
namespace {

// The state in which a filter begins solves as many equations, in the cube of the time.
constexpr std::size_t MOST_COEFFICIENTS = 1025;

std::vector<double> read_coefficients(const double* values, std::size_t count, char name) {
    if (count < 1 || count > MOST_COEFFICIENTS) {
        throw InvalidArgument(fmt::format("{} has {} coefficients; allowed are 1 to {}", name,
                                          count, MOST_COEFFICIENTS));
    }
    if (values == nullptr) {
        throw InvalidArgument(fmt::format("{} is NULL; {} coefficients are needed", name, count));
    }
    return {values, values + count};
}

void check_finite(const std::vector<double>& values, double leading, char name) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!std::isfinite(values[i])) {
            throw InvalidArgument(
                fmt::format("{}[{}] is {}; coefficients have to be finite", name, i, values[i]));
        }
        if (!std::isfinite(values[i] / leading)) {
            throw InvalidArgument(fmt::format("{}[{}] is {}, and a[0] {}; their quotient has to be "
                                              "finite",
                                              name, i, values[i], leading));
        }
    }
}

} // namespace

dsp::FilterCoefficients read_filter(const double* b, std::size_t b_count, const double* a,
                                    std::size_t a_count) {
    dsp::FilterCoefficients filter{read_coefficients(b, b_count, 'b'),
                                   read_coefficients(a, a_count, 'a')};
    const double leading = filter.a.front();
    if (leading == 0.0) {
        throw InvalidArgument("a[0] is 0; the recurrence is divided by it");
    }
    check_finite(filter.a, leading, 'a');
    check_finite(filter.b, leading, 'b');
    if (!dsp::is_stable(filter.a)) {
        throw InvalidArgument(
            "the filter is not stable: what it gives grows without bound or never "
            "fades; all roots of a have to lie inside the unit circle");
    }
    return filter;
}

} // namespace talvora::library
