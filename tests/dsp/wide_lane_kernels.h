#pragma once

#include "dsp/lane_kernels.h"

namespace talvora::dsp {

extern const LaneKernels WIDE_LANE_KERNELS;

} // namespace talvora::dsp
