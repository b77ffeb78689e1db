// Filters as units design them, and as nobody should.
#pragma once

#include "dsp/filter_coefficients.h"
#include "fuzz/choices.h"

namespace talvora::fuzz {

// Mostly one of the Butterworth unit; now and then one that no design would give.
dsp::FilterCoefficients make_filter(Choices& choices);

} // namespace talvora::fuzz
