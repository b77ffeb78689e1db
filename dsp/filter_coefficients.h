// The coefficients of one digital filter.
#pragma once

#include <vector>

namespace talvora::dsp {

// H(z) = B(z) / A(z): `b` is the numerator, `a` the denominator, both from the
// highest power of z to the constant term, so that a[0] leads the recurrence. A
// designed filter has a[0] = 1 and both vectors of one length; an empty pair means
// that there is no filter.
struct FilterCoefficients {
    std::vector<double> b;
    std::vector<double> a;
};

} // namespace talvora::dsp
