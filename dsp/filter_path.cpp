#include "dsp/filter_path.h"

#include "dsp/lane_kernels.h"

#include <algorithm>
#include <iterator>

namespace talvora::dsp {

bool can_take(FilterPath path) {
    switch (path) {
    case FilterPath::Avx512:
        return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512vl") != 0 &&
               __builtin_cpu_supports("avx512dq") != 0 && __builtin_cpu_supports("avx512bw") != 0;
    case FilterPath::Avx2:
        return __builtin_cpu_supports("avx2") != 0;
    default:
        return true; // every x86-64 processor has SSE2
    }
}

FilterPath best_filter_path() {
    return *std::find_if(std::rbegin(LANE_PATHS), std::rend(LANE_PATHS), can_take);
}

const LaneKernels<float>& lane_kernels(FilterPath path) {
    switch (path) {
    case FilterPath::Avx512:
        return AVX512_LANE_KERNELS;
    case FilterPath::Avx2:
        return AVX2_LANE_KERNELS;
    default:
        return SSE2_LANE_KERNELS;
    }
}

} // namespace talvora::dsp
