// The ways in which runs can be filtered, and which of them this processor can take.
#pragma once

namespace talvora::dsp {

template <class Sample>
struct LaneKernels;

// Every path gives the same bits: Plain is the definition of zero_phase_filter.h run by run, with
// which tests, fuzz targets and benchmarks compare; the others filter several runs at once, one to
// a lane of the processor's vector registers.
enum class FilterPath { Plain, Sse2, Avx2, Avx512 };

// Those that fill lanes, from the narrowest, which every x86-64 processor can take.
inline constexpr FilterPath LANE_PATHS[] = {FilterPath::Sse2, FilterPath::Avx2, FilterPath::Avx512};

// Whether this processor, under this operating system, can take the path.
bool can_take(FilterPath path);
// The widest path that can be taken here; never the plain one.
FilterPath best_filter_path();

// The loops of a path that fills lanes.
const LaneKernels<float>& lane_kernels(FilterPath path);

} // namespace talvora::dsp
