// Zero-phase filtering of the lines of arrays.
#pragma once

#include "dsp/filter_coefficients.h"
#include "library/talvora/talvora.h"

namespace talvora::library {

// As talvora_filtfilt describes it, for a filter that was checked. Throws.
void filter_array(const dsp::FilterCoefficients& filter, const talvora_array* in,
                  const talvora_array* out, const talvora_filter_options* options);

} // namespace talvora::library
