// Samples that an operation makes, with the same bits on every processor: what has no result, such
// as inf - inf, is MISSING_SAMPLE; where one operand is NaN it is that NaN, quiet. Of two NaN the
// processors do not choose alike: where two can meet the code says which is taken.
#pragma once

#include "dsp/missing_samples.h"
#include "dsp/processor.h"

#include <bit>
#include <cmath>
#include <cstdint>

namespace talvora::dsp {

// The result of an operation on the operands; those that are known to be numbers need not be named.
template <class Sample, class... Operands>
Sample made_sample(Sample result, Operands... operands) {
    if constexpr (!MAKES_MISSING_SAMPLES) {
        if (std::isnan(result) && !(std::isnan(operands) || ...)) {
            return MISSING_SAMPLE_OF<Sample>;
        }
    }
    return result;
}

// A result in double precision, of numbers. What is beyond the range of a float becomes an
// infinity.
template <class Sample>
Sample narrowed_sample(double result) {
    return made_sample(static_cast<Sample>(result));
}

// A NaN as operations give it on.
inline float quieted(float missing) {
    constexpr std::uint32_t QUIET = 0x00400000U;
    return std::bit_cast<float>(std::bit_cast<std::uint32_t>(missing) | QUIET);
}

} // namespace talvora::dsp
