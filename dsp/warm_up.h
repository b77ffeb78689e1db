// How long a filter remembers where it started.
#pragma once

#include "dsp/zero_phase_filter.h"

#include <cstddef>

namespace talvora::dsp {

// How many samples a guessed state needs to come to the true one, or `limit` if that is
// not fewer: from the decay of the response to an impulse. The filter has two taps or more.
std::ptrdiff_t count_warm_up_samples(const PreparedFilter& filter, std::ptrdiff_t limit);

} // namespace talvora::dsp
