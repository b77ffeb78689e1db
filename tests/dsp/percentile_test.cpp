#include "dsp/percentile.h"
#include "tests/support/special_values.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <vector>

namespace talvora::dsp {
namespace {

TEST(Percentile, GivesTheMiddleOfAnOddNumberOfValues) {
    EXPECT_EQ(percentile(std::vector<float>{7, 1, 6, 2, 5, 3, 4}, 50), 4.0F);
}

TEST(Percentile, GivesTheMeanOfTheTwoMiddleValuesOfAnEvenNumber) {
    EXPECT_EQ(percentile(std::vector<float>{10, 2, 9, 1, 8, 3, 30, 4, 6, 20}, 50), 7.0F);
}

TEST(Percentile, AveragesTheMiddleValuesWithoutOverflow) {
    constexpr float LARGE = 3.0e38F;
    EXPECT_EQ(percentile(std::vector<float>{LARGE, LARGE}, 50), LARGE);
}

TEST(Percentile, GivesTheOnlyValueWhateverThePercentage) {
    EXPECT_EQ(percentile(std::vector<float>{3.5F}, 0), 3.5F);
    EXPECT_EQ(percentile(std::vector<float>{3.5F}, 99), 3.5F);
    EXPECT_EQ(percentile(std::vector<float>{3.5F}, NaN), 3.5F);
}

TEST(Percentile, HoldsTheOutermostValuesBeyondTheirRanks) {
    const std::vector<float> values = {4, 1, 3, 2}; // at 12.5, 37.5, 62.5 and 87.5 per cent
    EXPECT_EQ(percentile(values, 0), 1.0F);
    EXPECT_EQ(percentile(values, 12.5F), 1.0F);
    EXPECT_EQ(percentile(values, 87.5F), 4.0F);
    EXPECT_EQ(percentile(values, 100), 4.0F);
}

TEST(Percentile, GivesTheValueOfARankItStrikes) {
    const std::vector<float> values = {4, 1, 3, 2};
    EXPECT_EQ(percentile(values, 37.5F), 2.0F);
    EXPECT_EQ(percentile(values, 62.5F), 3.0F);
}

// numpy.percentile([3, 1, 4, 1.5, 9, 2.6], p, method="hazen"), NumPy 1.24
TEST(Percentile, InterpolatesLinearlyBetweenRanks) {
    const std::vector<float> values = {3, 1, 4, 1.5F, 9, 2.6F};
    EXPECT_FLOAT_EQ(percentile(values, 10), 1.05F);
    EXPECT_FLOAT_EQ(percentile(values, 30), 1.83F);
    EXPECT_FLOAT_EQ(percentile(values, 70), 3.7F);
    EXPECT_FLOAT_EQ(percentile(values, 90), 8.5F);
}

TEST(Percentile, LeavesItsInputAlone) {
    const std::vector<float> values = {3, 1, 2};
    percentile(values, 50);
    EXPECT_EQ(values, (std::vector<float>{3, 1, 2}));
}

// Worked by hand. {1, 5, NaN}: the pivot 5 and the NaN, which stops the scan from the
// right, change places, then 1 and the NaN do, and 1 stands in the middle. With the NaN
// as the pivot, 5 and 1 change places and the NaN stays.
TEST(Percentile, SortsNaNsAsTheQuicksortMeetsThem) {
    EXPECT_EQ(percentile(std::vector<float>{1, 5, NaN}, 50), 1.0F);
    EXPECT_TRUE(std::isnan(percentile(std::vector<float>{5, NaN, 1}, 50)));
    EXPECT_EQ(percentile(std::vector<float>{NaN, 5, 1}, 50), 5.0F);
}

// The sort changes their places.
TEST(Percentile, IsTheLowerOfTwoNaNsBetweenWhichItLies) {
    constexpr auto LOWER = std::bit_cast<float>(0x7FC12345U);
    constexpr auto UPPER = std::bit_cast<float>(0xFFD00001U);
    for (const float percent : {40.0F, 50.0F, 60.0F}) {
        const float found = percentile(std::vector<float>{UPPER, LOWER}, percent);
        EXPECT_EQ(std::bit_cast<std::uint32_t>(found), 0x7FC12345U) << percent;
    }
}

TEST(Percentile, AgreesWithASortOfAnyOrder) {
    std::vector<float> values(7);
    std::iota(values.begin(), values.end(), 1.0F);
    do {
        ASSERT_EQ(percentile(values, 50), 4.0F);
    } while (std::next_permutation(values.begin(), values.end()));
}

} // namespace
} // namespace talvora::dsp
