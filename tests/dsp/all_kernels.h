// What tests of the kernels share: each set of kernels under its name, and tests on those that
// this processor can take. Eight lanes are tried on the baseline too, where every one can.
#pragma once

#include "dsp/filter_set.h"
#include "dsp/lane_kernels.h"
#include "tests/dsp/wide_lane_kernels.h"

#include <gtest/gtest.h>

#include <string>

namespace talvora::dsp {

struct NamedKernels {
    const char* name;
    const LaneKernels<float>* kernels;
    FilterPath needs;
};

// Side by side, from the narrowest to the widest.
inline constexpr NamedKernels LANE_KERNELS[] = {
    {"Sse2", &SSE2_LANE_KERNELS, FilterPath::Sse2},
    {"Avx2", &AVX2_LANE_KERNELS, FilterPath::Avx2},
    {"Avx512", &AVX512_LANE_KERNELS, FilterPath::Avx512},
    {"EightLanesOnTheBaseline", &WIDE_LANE_KERNELS, FilterPath::Sse2},
};

inline std::string name_kernels(const testing::TestParamInfo<NamedKernels>& kernels) {
    return kernels.param.name;
}

class ForAllKernels : public testing::TestWithParam<NamedKernels> {
  protected:
    void SetUp() override {
        if (!can_take(GetParam().needs)) {
            GTEST_SKIP() << "this processor lacks the instructions";
        }
    }
};

} // namespace talvora::dsp
