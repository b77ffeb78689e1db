#include "dsp/filter_path.h"

#include "dsp/lane_kernels.h"
#include "dsp/processor.h"

#include <algorithm>
#include <iterator>

namespace talvora::dsp {

#if TALVORA_X86_64
extern const LaneKernels<float> AVX2_LANE_KERNELS;
extern const LaneKernels<float> AVX512_LANE_KERNELS;
#endif

namespace {

bool always() {
    return true;
}

#if TALVORA_X86_64
bool has_avx2() {
    return __builtin_cpu_supports("avx2") != 0;
}

bool has_avx512() {
    return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512vl") != 0 &&
           __builtin_cpu_supports("avx512dq") != 0 && __builtin_cpu_supports("avx512bw") != 0;
}
#endif

// One row for each source lane_kernels_*.cpp that cmake/arithmetic.cmake has built.
constexpr LanePath LANE_PATHS[] = {
    {FilterPath::Baseline, "Baseline", always, &BASELINE_LANE_KERNELS},
#if TALVORA_X86_64
    {FilterPath::Avx2, "Avx2", has_avx2, &AVX2_LANE_KERNELS},
    {FilterPath::Avx512, "Avx512", has_avx512, &AVX512_LANE_KERNELS},
#endif
};

const LanePath& lane_path(FilterPath path) {
    const LanePath* const found = std::ranges::find(LANE_PATHS, path, &LanePath::path);
    return found != std::end(LANE_PATHS) ? *found : LANE_PATHS[0];
}

} // namespace

std::span<const LanePath> lane_paths() {
    return LANE_PATHS;
}

bool can_take(FilterPath path) {
    return path == FilterPath::Plain ||
           (lane_path(path).path == path && lane_path(path).can_be_taken());
}

FilterPath best_filter_path() {
    return std::find_if(std::rbegin(LANE_PATHS), std::rend(LANE_PATHS),
                        [](const LanePath& path) { return path.can_be_taken(); })
        ->path;
}

const LaneKernels<float>& lane_kernels(FilterPath path) {
    return *lane_path(path).kernels;
}

} // namespace talvora::dsp
