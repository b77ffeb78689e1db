// Filters as callers give them.
#pragma once

#include "dsp/filter_coefficients.h"

#include <cstddef>

namespace talvora::library {

// Numerator and denominator, from the highest power of z to the constant term, as they are. Throws
// InvalidArgument for none, too many, coefficients that are not finite (divided by a[0] neither),
// a[0] = 0 and a filter that is not stable.
dsp::FilterCoefficients read_filter(const double* b, std::size_t b_count, const double* a,
                                    std::size_t a_count);

} // namespace talvora::library
