#include "dsp/missing_samples.h"
#include "dsp/reductions.h"
#include "tests/support/special_values.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace talvora::dsp {
namespace {

// Lengths around the blocks that a reduction works in, and one far from them.
constexpr std::size_t LENGTHS[] = {1, 2, 3, 4, 5, 31, 32, 33, 63, 64, 65, 127, 1000, 4097};

std::uint32_t bits(float value) {
    return std::bit_cast<std::uint32_t>(value);
}

std::vector<float> draw_samples(std::size_t count) {
    std::mt19937 random(static_cast<std::mt19937::result_type>(count));
    std::uniform_real_distribution<float> distribution(-1.0F, 1.0F);
    std::vector<float> samples(count);
    for (float& sample : samples) {
        sample = distribution(random);
    }
    return samples;
}

TEST(Mean, OfTheFirstIntegersIsExact) {
    for (const std::size_t count : LENGTHS) {
        std::vector<float> samples(count);
        for (std::size_t i = 0; i < count; ++i) {
            samples[i] = static_cast<float>(i);
        }
        // Every partial sum is a whole number below 2^24, so no order of additions rounds.
        EXPECT_EQ(mean(samples), static_cast<float>(count - 1) / 2.0F) << count;
    }
}

TEST(Mean, StaysWithinTheBoundOfSummingInBlocks) {
    for (const std::size_t count : LENGTHS) {
        const std::vector<float> samples = draw_samples(count);
        long double sum = 0.0L;
        long double sum_of_magnitudes = 0.0L;
        for (const float sample : samples) {
            sum += static_cast<long double>(sample);
            sum_of_magnitudes += static_cast<long double>(std::fabs(sample));
        }
        const auto size = static_cast<long double>(count);
        // One rounding per addition on the longest way to the result, and the division's.
        const long double additions = size / 32 + 7;
        const long double bound = additions * 0x1p-24L * sum_of_magnitudes / size;
        EXPECT_NEAR(static_cast<double>(mean(samples)), static_cast<double>(sum / size),
                    static_cast<double>(bound))
            << count;
    }
}

TEST(Mean, IsRoundedToSinglePrecisionByTheDivision) {
    EXPECT_EQ(bits(mean(std::vector<float>{1, 0, 0})), 0x3EAAAAABU); // 1/3
}

TEST(Mean, DoesNotDependOnWhereTheSamplesLieInMemory) {
    std::vector<float> room(1000 + 16);
    const std::vector<float> samples = draw_samples(1000);
    const float expected = mean(samples);
    for (std::size_t offset = 0; offset < 16; ++offset) {
        std::copy(samples.begin(), samples.end(),
                  room.begin() + static_cast<std::ptrdiff_t>(offset));
        EXPECT_EQ(bits(mean(std::span(room).subspan(offset, 1000))), bits(expected));
    }
}

TEST(Mean, OfNothingIsMissing) {
    EXPECT_EQ(bits(mean({})), MISSING_SAMPLE_BITS);
}

TEST(Mean, IsMissingWithOneNaNAnywhere) {
    for (const std::size_t count : LENGTHS) {
        for (const std::size_t index : {std::size_t{0}, count / 2, count - 1}) {
            std::vector<float> samples(count, 1.0F);
            samples[index] = NaN;
            EXPECT_EQ(bits(mean(samples)), MISSING_SAMPLE_BITS) << count << ' ' << index;
        }
    }
}

TEST(Mean, FollowsInfinities) {
    EXPECT_EQ(mean(std::vector<float>{1, INF, 2}), INF);
    EXPECT_EQ(mean(std::vector<float>{1, -INF, 2}), -INF);
    EXPECT_EQ(bits(mean(std::vector<float>{INF, -INF})), MISSING_SAMPLE_BITS);
    EXPECT_EQ(mean(std::vector<float>{3e38F, 3e38F}), INF);
}

TEST(Mean, OfNegativeZerosIsNegativeZero) {
    EXPECT_EQ(bits(mean(std::vector<float>(37, -0.0F))), 0x80000000U);
    EXPECT_EQ(bits(mean(std::vector<float>{-0.0F, 0.0F})), 0x00000000U);
}

TEST(Mean, KeepsSubnormals) {
    EXPECT_EQ(bits(mean(std::vector<float>(64, 0x1p-149F))), 0x00000001U);
}

TEST(Maximum, IsFoundAtEveryPlace) {
    for (const std::size_t count : LENGTHS) {
        for (std::size_t index = 0; index < count; ++index) {
            std::vector<float> samples(count, -3.0F);
            samples[index] = -2.5F;
            ASSERT_EQ(maximum(samples), -2.5F) << count << ' ' << index;
        }
    }
}

TEST(Maximum, PassesOverNaN) {
    EXPECT_EQ(maximum(std::vector<float>{1, NaN, 3, 2}), 3.0F);
    for (const std::size_t count : LENGTHS) {
        for (std::size_t index = 0; index < count; ++index) {
            std::vector<float> samples(count, NaN);
            samples[index] = -7.0F;
            ASSERT_EQ(maximum(samples), -7.0F) << count << ' ' << index;
        }
    }
}

TEST(Maximum, OfNothingButNaNIsMissing) {
    EXPECT_EQ(bits(maximum({})), MISSING_SAMPLE_BITS);
    for (const std::size_t count : LENGTHS) {
        EXPECT_EQ(bits(maximum(std::vector<float>(count, NaN))), MISSING_SAMPLE_BITS) << count;
    }
}

TEST(Maximum, KnowsNegativeInfinityFromNothing) {
    EXPECT_EQ(maximum(std::vector<float>{NaN, -INF, NaN}), -INF);
    EXPECT_EQ(maximum(std::vector<float>(100, -INF)), -INF);
    EXPECT_EQ(maximum(std::vector<float>{-INF, -1e38F}), -1e38F);
    EXPECT_EQ(maximum(std::vector<float>{NaN, INF, 1}), INF);
}

TEST(Maximum, TakesTheFirstOfZerosOfBothSigns) {
    EXPECT_EQ(bits(maximum(std::vector<float>{-1, -0.0F, 0.0F})), 0x80000000U);
    EXPECT_EQ(bits(maximum(std::vector<float>{-1, 0.0F, -0.0F})), 0x00000000U);
    for (const std::size_t count : LENGTHS) {
        std::vector<float> samples(count, 0.0F);
        samples[0] = -0.0F;
        EXPECT_EQ(bits(maximum(samples)), 0x80000000U) << count;
    }
}

} // namespace
} // namespace talvora::dsp
