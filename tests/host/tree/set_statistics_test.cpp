#include "host/tree/set_statistics.h"
#include "tests/support/special_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace talvora::host {
namespace {

using testing::IsNan;

TEST(SetStatistics, LeavesMissingSamplesAside) {
    const SetStatistics numbers = measure_samples(std::vector<float>{NaN, -1, 4, NaN, 0});
    EXPECT_EQ(numbers.sample_count, 5U);
    EXPECT_EQ(numbers.missing_count, 2U);
    EXPECT_EQ(numbers.least, SampleValue(-1.0));
    EXPECT_EQ(numbers.greatest, SampleValue(4.0));
    EXPECT_EQ(numbers.mean, 1);
}

TEST(SetStatistics, HasNoExtremaOfMissingSamples) {
    const SetStatistics numbers = measure_samples(std::vector<float>{NaN});
    EXPECT_EQ(numbers.missing_count, 1U);
    EXPECT_THAT(std::get<double>(numbers.least), IsNan());
    EXPECT_THAT(std::get<double>(numbers.greatest), IsNan());
    EXPECT_THAT(numbers.mean, IsNan());
}

// 2^24 + 1 is the first integer that no float holds: a sum in floats would stay at 2^24.
TEST(SetStatistics, AddsUpInDoubles) {
    std::vector<float> samples(1 << 16, 1.0F);
    samples.front() = 16777216.0F;
    EXPECT_EQ(measure_samples(samples).mean, (16777216.0 + 65535.0) / 65536.0);
}

// 2^53 + 1 is the first integer that no double holds.
TEST(SetStatistics, KeepsEveryDigitOfIntegers) {
    const SetStatistics numbers =
        measure_samples(std::vector<std::int64_t>{9007199254740993, -9007199254740993});
    EXPECT_EQ(numbers.least, SampleValue(std::int64_t{-9007199254740993}));
    EXPECT_EQ(numbers.greatest, SampleValue(std::int64_t{9007199254740993}));
    EXPECT_EQ(numbers.missing_count, 0U);
    const std::uint64_t large = 18446744073709551615U;
    EXPECT_EQ(measure_samples(std::vector<std::uint64_t>{large}).greatest, SampleValue(large));
}

} // namespace
} // namespace talvora::host
