#define LANE_WIDTH 4
#include "dsp/lane_kernels_of_width.h"

namespace talvora::dsp {

extern const LaneKernels<float> AVX2_LANE_KERNELS;
const LaneKernels<float> AVX2_LANE_KERNELS = KERNELS<float>;

} // namespace talvora::dsp
