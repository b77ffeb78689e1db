#include "dsp/filter_path.h"

#include "dsp/lane_kernels.h"
#include "dsp/processor.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <type_traits>

namespace talvora::dsp {

extern const LaneKernels<float> BASELINE_FLOAT_LANE_KERNELS;
extern const LaneKernels<double> BASELINE_DOUBLE_LANE_KERNELS;
#if TALVORA_X86_64
extern const LaneKernels<float> AVX2_FLOAT_LANE_KERNELS;
extern const LaneKernels<double> AVX2_DOUBLE_LANE_KERNELS;
extern const LaneKernels<float> AVX512_FLOAT_LANE_KERNELS;
extern const LaneKernels<double> AVX512_DOUBLE_LANE_KERNELS;
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
    {FilterPath::Baseline, "Baseline", always},
#if TALVORA_X86_64
    {FilterPath::Avx2, "Avx2", has_avx2},
    {FilterPath::Avx512, "Avx512", has_avx512},
#endif
};

// By the same rows. One table for each type of samples, so that a program that filters floats alone
// need not hold the loops for doubles.
template <class Sample>
using KernelTable = std::array<const LaneKernels<Sample>*, std::size(LANE_PATHS)>;
constexpr KernelTable<float> FLOAT_KERNELS = {
    &BASELINE_FLOAT_LANE_KERNELS,
#if TALVORA_X86_64
    &AVX2_FLOAT_LANE_KERNELS,
    &AVX512_FLOAT_LANE_KERNELS,
#endif
};
constexpr KernelTable<double> DOUBLE_KERNELS = {
    &BASELINE_DOUBLE_LANE_KERNELS,
#if TALVORA_X86_64
    &AVX2_DOUBLE_LANE_KERNELS,
    &AVX512_DOUBLE_LANE_KERNELS,
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

template <class Sample>
const LaneKernels<Sample>& lane_kernels(FilterPath path) {
    const auto row = static_cast<std::size_t>(&lane_path(path) - LANE_PATHS);
    if constexpr (std::is_same_v<Sample, float>) {
        return *FLOAT_KERNELS[row];
    } else {
        return *DOUBLE_KERNELS[row];
    }
}

template const LaneKernels<float>& lane_kernels(FilterPath);
template const LaneKernels<double>& lane_kernels(FilterPath);

} // namespace talvora::dsp
