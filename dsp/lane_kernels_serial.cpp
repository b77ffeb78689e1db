#define LANE_WIDTH 1
#include "dsp/lane_kernels_of_width.h"

namespace talvora::dsp {

const LaneKernels SERIAL_LANE_KERNELS = {WIDTH, lanes_at_once, filter_rows, widen_lines,
                                         narrow_lines};

} // namespace talvora::dsp
