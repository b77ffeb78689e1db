// Eight lanes for a processor with the baseline instruction set alone: shows that
// what AVX-512 is given to do is right where no processor has AVX-512.
#define LANE_WIDTH 8
#include "tests/dsp/wide_lane_kernels.h"

#include "dsp/lane_kernels_of_width.h"

namespace talvora::dsp {

const LaneKernels<float> WIDE_FLOAT_LANE_KERNELS = KERNELS<float>;
const LaneKernels<double> WIDE_DOUBLE_LANE_KERNELS = KERNELS<double>;

} // namespace talvora::dsp
