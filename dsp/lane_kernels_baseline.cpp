#define LANE_WIDTH 2
#include "dsp/lane_kernels_of_width.h"

namespace talvora::dsp {

const LaneKernels<float> BASELINE_LANE_KERNELS = KERNELS<float>;

} // namespace talvora::dsp
