#include "dsp/signal_to_noise.h"
#include "tests/support/special_values.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

namespace talvora::dsp {
namespace {

// Ten samples on a 16-byte boundary, as the units have them.
struct alignas(16) Stretch {
    float samples[10];
};

TEST(ComputeMean, DividesTheSumByTheCount) {
    EXPECT_EQ(compute_mean(std::vector<float>{1, 2, 6}), 3.0F);
}

// In single precision 1 is lost against 2^24, so that the order of a sum shows. Lane by
// lane the large values of the first stretch meet at once and 2 + 2 + 2 + 1 + 1 is left;
// from left to right it would be 5. The lanes of the second are added crosswise, first
// and third, second and fourth, which leaves 2 + 1 + 1; in pairs of neighbours, or from
// left to right, it would be 3.
TEST(ComputeMean, SumsFourLanesAndThenTheRest) {
    constexpr float LARGE = 16777216.0F;
    constexpr Stretch LANES{{LARGE, 1, 1, 1, -LARGE, 1, 1, 1, 1, 1}};
    EXPECT_EQ(compute_mean(LANES.samples), 0.8F);
    constexpr Stretch CROSSWISE{{LARGE, 1, -LARGE, 1, 0, 0, 0, 0, 1, 1}};
    EXPECT_EQ(compute_mean(CROSSWISE.samples), 0.4F);
}

TEST(ComputeStandardDeviation, DividesByOneLessThanTheCount) {
    EXPECT_EQ(compute_standard_deviation(std::vector<float>{1, 3}), std::sqrt(2.0F));
    EXPECT_EQ(compute_standard_deviation(std::vector<float>{2, 4, 6}), 2.0F);
}

TEST(ComputeStandardDeviation, IsZeroForASingleSample) {
    EXPECT_EQ(compute_standard_deviation(std::vector<float>{5}), 0.0F);
}

// statistics.mean(x) / statistics.stdev(x) for x = 1 ... 10, Python 3.11: 1.8165902124584950
TEST(ComputeSignalToNoise, IsTheMeanInStandardDeviations) {
    constexpr Stretch STRETCH{{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}};
    EXPECT_FLOAT_EQ(compute_signal_to_noise(STRETCH.samples), 1.8165902F);
}

TEST(ComputeSignalToNoise, IsInfiniteWhenNothingDeviates) {
    EXPECT_EQ(compute_signal_to_noise(std::vector<float>{5, 5, 5}), INF);
    EXPECT_EQ(compute_signal_to_noise(std::vector<float>{-5}), -INF);
}

TEST(ComputeSignalToNoise, IsNaNForZeros) {
    EXPECT_TRUE(std::isnan(compute_signal_to_noise(std::vector<float>{0, 0})));
    EXPECT_TRUE(std::isnan(compute_signal_to_noise(std::vector<float>{0})));
}

// Of two that meet in a sum the processors do not take the same one, and what inf - inf gives has
// another sign on each.
TEST(ComputeSignalToNoise, IsTheFirstNaNAmongTheSamples) {
    constexpr auto QUIET = std::bit_cast<float>(0x7FC12345U);
    constexpr auto NEGATIVE = std::bit_cast<float>(0xFFD00001U);
    constexpr auto bits = [](const std::vector<float>& samples) {
        return std::bit_cast<std::uint32_t>(compute_signal_to_noise(samples));
    };
    EXPECT_EQ(bits({1, QUIET, 2, NEGATIVE, 3, 4, 5, 6, 7, 8}), 0x7FC12345U);
    EXPECT_EQ(bits({NEGATIVE, QUIET, 1, 2, 3, 4, 5, 6, 7, QUIET}), 0xFFD00001U);
    EXPECT_EQ(bits({1, 2, 3, 4, QUIET, NEGATIVE, NEGATIVE, 5, NEGATIVE, NEGATIVE}), 0x7FC12345U);
    EXPECT_EQ(bits({INF, QUIET, -INF, 1}), 0x7FC12345U);
    EXPECT_EQ(bits({1, 2, -INF, INF, -INF, INF, QUIET, 3}), 0x7FC12345U);
    EXPECT_EQ(bits({QUIET}), 0x7FC12345U);
}

} // namespace
} // namespace talvora::dsp
