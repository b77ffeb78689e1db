// Samples that an operation makes, with the same bits on every processor: what has no result, such
// as inf - inf, is MISSING_SAMPLE. Where an operand is NaN all processors give the first that is.
#pragma once

#include "dsp/missing_samples.h"
#include "dsp/processor.h"

#include <cmath>

namespace talvora::dsp {

// The result of an operation on the operands; those that are known to be numbers need not be named.
template <class... Operands>
float made_sample(float result, Operands... operands) {
    if constexpr (!MAKES_MISSING_SAMPLES) {
        if (std::isnan(result) && !(std::isnan(operands) || ...)) {
            return MISSING_SAMPLE;
        }
    }
    return result;
}

// A result in double precision, of numbers. What is beyond the range of a float becomes an
// infinity.
inline float narrowed_sample(double result) {
    return made_sample(static_cast<float>(result));
}

} // namespace talvora::dsp
