#define LANE_WIDTH 2
#include "dsp/lane_kernels_of_width.h"

namespace talvora::dsp {

const LaneKernels<float> SSE2_LANE_KERNELS = KERNELS<float>;

} // namespace talvora::dsp
