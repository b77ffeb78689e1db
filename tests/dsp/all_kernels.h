// What tests of the kernels share: each set of kernels under its name, and tests on those that
// this processor can take. Eight lanes are tried on the baseline too, where every one can.
#pragma once

#include "dsp/filter_set.h"
#include "dsp/lane_kernels.h"
#include "tests/dsp/wide_lane_kernels.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace talvora::dsp {

struct NamedKernels {
    const char* name;
    const LaneKernels<float>* kernels;
    FilterPath needs;
};

// Side by side, from the narrowest to the widest.
inline std::vector<NamedKernels> lane_kernels_to_test() {
    std::vector<NamedKernels> kernels;
    for (const LanePath& path : lane_paths()) {
        kernels.push_back({path.name, path.kernels, path.path});
    }
    kernels.push_back({"EightLanesOnTheBaseline", &WIDE_LANE_KERNELS, FilterPath::Baseline});
    return kernels;
}

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
