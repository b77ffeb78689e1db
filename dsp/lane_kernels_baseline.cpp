#define LANE_WIDTH 2
#include "dsp/lane_kernels_of_width.h"

namespace talvora::dsp {

extern const LaneKernels<float> BASELINE_FLOAT_LANE_KERNELS;
const LaneKernels<float> BASELINE_FLOAT_LANE_KERNELS = KERNELS<float>;

extern const LaneKernels<double> BASELINE_DOUBLE_LANE_KERNELS;
const LaneKernels<double> BASELINE_DOUBLE_LANE_KERNELS = KERNELS<double>;

} // namespace talvora::dsp
