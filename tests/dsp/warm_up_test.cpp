#include "dsp/warm_up.h"

#include <gtest/gtest.h>

#include <limits>

namespace talvora::dsp {
namespace {

// scipy.signal.butter(2, 0.01): poles close to 1.
const FilterCoefficients LONG_MEMORY = {
    {0.00024135904904194806, 0.0004827180980838961, 0.00024135904904194806},
    {1.0, -1.955578240315036, 0.9565436765112033}};

TEST(CountWarmUpSamples, FollowsTheDecayOfThePoles) {
    // One pole at 1/2: 54 halvings, times 2.5, and sixteen.
    EXPECT_EQ(count_warm_up_samples(prepare_filter({{1.0, 1.0}, {1.0, -0.5}}), 1000), 151);
    // Without poles a filter has forgotten after its taps.
    EXPECT_EQ(count_warm_up_samples(prepare_filter({{1.0, 1.0, 1.0}, {1.0}}), 1000), 21);
}

TEST(CountWarmUpSamples, GivesTheLimitForALongMemory) {
    EXPECT_EQ(count_warm_up_samples(prepare_filter(LONG_MEMORY), 1000), 1000);
    EXPECT_EQ(count_warm_up_samples(prepare_filter({{1.0, 1.0}, {1.0, -2.0}}), 1000), 1000);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(count_warm_up_samples(prepare_filter({{1.0, 1.0}, {1.0, nan}}), 1000), 1000);
}

} // namespace
} // namespace talvora::dsp
