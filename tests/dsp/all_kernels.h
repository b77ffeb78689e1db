// What tests of the kernels share: each set of kernels under its name, and tests on those that
// this processor can take, for floats and for doubles. Eight lanes are tried on the baseline too,
// where every one can.
#pragma once

#include "dsp/filter_set.h"
#include "dsp/lane_kernels.h"
#include "tests/dsp/wide_lane_kernels.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

namespace talvora::dsp {

struct NamedKernels {
    const char* name;
    FilterPath needs;
    const LaneKernels<float>* of_floats;
    const LaneKernels<double>* of_doubles;

    template <class Sample>
    const LaneKernels<Sample>& of() const {
        if constexpr (std::is_same_v<Sample, float>) {
            return *of_floats;
        } else {
            return *of_doubles;
        }
    }
};

// Side by side, from the narrowest to the widest.
inline std::vector<NamedKernels> lane_kernels_to_test() {
    std::vector<NamedKernels> kernels;
    for (const LanePath& path : lane_paths()) {
        kernels.push_back({path.name, path.path, &lane_kernels<float>(path.path),
                           &lane_kernels<double>(path.path)});
    }
    kernels.push_back({"EightLanesOnTheBaseline", FilterPath::Baseline, &WIDE_FLOAT_LANE_KERNELS,
                       &WIDE_DOUBLE_LANE_KERNELS});
    return kernels;
}

inline std::string name_kernels(const testing::TestParamInfo<NamedKernels>& kernels) {
    return kernels.param.name;
}

// Calls check(Sample()) with samples of either type.
template <class Check>
void for_samples_of_each_type(Check check) {
    {
        SCOPED_TRACE("floats");
        check(float());
    }
    SCOPED_TRACE("doubles");
    check(double());
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
