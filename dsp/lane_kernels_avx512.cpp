#define LANE_WIDTH 8
#include "dsp/lane_kernels_of_width.h"

namespace talvora::dsp {

extern const LaneKernels<float> AVX512_FLOAT_LANE_KERNELS;
const LaneKernels<float> AVX512_FLOAT_LANE_KERNELS = KERNELS<float>;

extern const LaneKernels<double> AVX512_DOUBLE_LANE_KERNELS;
const LaneKernels<double> AVX512_DOUBLE_LANE_KERNELS = KERNELS<double>;

} // namespace talvora::dsp
