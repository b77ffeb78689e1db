// The ways in which runs can be filtered, and which of them this processor can take.
#pragma once

#include <span>

namespace talvora::dsp {

template <class Sample>
struct LaneKernels;

// Every path gives the same bits: Plain is the definition of zero_phase_filter.h run by run, with
// which tests, fuzz targets and benchmarks compare; the others filter several runs at once, one to
// a lane of the processor's vector registers.
enum class FilterPath { Plain, Baseline, Avx2, Avx512 };

// A path that fills lanes.
struct LanePath {
    FilterPath path;
    const char* name;
    bool (*can_be_taken)(); // by this processor, under this operating system
};

// Those that are built for this architecture, from the narrowest, which all its processors can
// take.
std::span<const LanePath> lane_paths();

// Whether the path is built and this processor can take it.
bool can_take(FilterPath path);
// The widest path that can be taken here; never the plain one.
FilterPath best_filter_path();

// The loops of a path that fills lanes and is built, for samples of float or double; of others
// those of the baseline.
template <class Sample>
const LaneKernels<Sample>& lane_kernels(FilterPath path);

} // namespace talvora::dsp
