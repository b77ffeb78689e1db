#include "dsp/filter_stability.h"

#include <cmath>
#include <vector>

namespace talvora::dsp {

namespace {

// The polynomial of one degree less that is left when its reflection coefficient is taken off.
std::vector<long double> step_down(const std::vector<long double>& polynomial,
                                   long double reflection) {
    std::vector<long double> lower(polynomial.size() - 1);
    for (std::size_t i = 0; i < lower.size(); ++i) {
        lower[i] = polynomial[i] - reflection * polynomial[polynomial.size() - 1 - i];
    }
    return lower;
}

} // namespace

bool is_stable(std::span<const double> a) {
    std::vector<long double> rest(a.begin(), a.end());
    while (rest.size() > 1) {
        const long double reflection = rest.back() / rest.front();
        // The negation takes a NaN for unstable too.
        if (!(std::abs(reflection) < 1.0L)) {
            return false;
        }
        rest = step_down(rest, reflection);
    }
    return true;
}

} // namespace talvora::dsp
