#pragma once

#include "dsp/lane_kernels.h"

namespace talvora::dsp {

extern const LaneKernels<float> WIDE_LANE_KERNELS;

} // namespace talvora::dsp
