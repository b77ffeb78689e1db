#pragma once

#include "dsp/lane_kernels.h"

namespace talvora::dsp {

extern const LaneKernels<float> WIDE_FLOAT_LANE_KERNELS;
extern const LaneKernels<double> WIDE_DOUBLE_LANE_KERNELS;

} // namespace talvora::dsp
