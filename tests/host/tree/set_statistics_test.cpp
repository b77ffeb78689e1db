#include "host/tree/set_statistics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace talvora::host {
namespace {

using testing::IsNan;

constexpr float NaN = std::numeric_limits<float>::quiet_NaN();

TEST(SetStatistics, LeavesMissingSamplesAside) {
    const SetStatistics numbers = measure_samples(std::vector<float>{NaN, -1, 4, NaN, 0});
    EXPECT_EQ(numbers.sample_count, 5U);
    EXPECT_EQ(numbers.missing_count, 2U);
    EXPECT_EQ(numbers.min, -1);
    EXPECT_EQ(numbers.max, 4);
    EXPECT_EQ(numbers.mean, 1);
}

TEST(SetStatistics, HasNoExtremaOfMissingSamples) {
    const SetStatistics numbers = measure_samples(std::vector<float>{NaN});
    EXPECT_EQ(numbers.missing_count, 1U);
    EXPECT_THAT(numbers.min, IsNan());
    EXPECT_THAT(numbers.max, IsNan());
    EXPECT_THAT(numbers.mean, IsNan());
}

// 2^24 + 1 is the first integer that no float holds: a sum in floats would stay at 2^24.
TEST(SetStatistics, AddsUpInDoubles) {
    std::vector<float> samples(1 << 16, 1.0F);
    samples.front() = 16777216.0F;
    EXPECT_EQ(measure_samples(samples).mean, (16777216.0 + 65535.0) / 65536.0);
}

} // namespace
} // namespace talvora::host
