#include "host/tree/line_roundings.h"
#include "host/tree/sample_rounding.h"
#include "tests/support/special_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace talvora::host {
namespace {

using testing::ElementsAre;

template <typename Stored>
class Rounded {
  public:
    explicit Rounded(std::vector<Stored> stored)
        : samples(stored.size()), change(round_samples<Stored>(stored, samples)) {}

    std::vector<float> samples;
    RoundingChange change;
};

// The floats next to 1 are 2^-23 apart above it.
TEST(RoundSamples, TakesTheNearestFloatAndOfTwoTheEvenOne) {
    const Rounded<double> rounded({1 + 0x1p-24, 1 + 3 * 0x1p-24, 1 + 0x1.8p-24, -1 - 0x1p-23});
    EXPECT_THAT(rounded.samples, ElementsAre(1, 1 + 0x1p-22F, 1 + 0x1p-23F, -1 - 0x1p-23F));
    EXPECT_EQ(rounded.change.largest_change, 0x1p-24);
    EXPECT_EQ(rounded.change.largest_sample, 1 + 3 * 0x1p-24);
}

// Floats of that size are 2^37 apart; the nearest double is halfway between two of them.
TEST(RoundSamples, RoundsLongIntegersOnce) {
    constexpr std::int64_t ABOVE_HALFWAY = (1LL << 60) + (1LL << 36) + 1;
    const Rounded<std::int64_t> rounded({ABOVE_HALFWAY, -ABOVE_HALFWAY, (1LL << 60) + 1});
    EXPECT_THAT(rounded.samples, ElementsAre(0x1p60F + 0x1p37F, -0x1p60F - 0x1p37F, 0x1p60F));
    EXPECT_EQ(rounded.change.largest_change, 0x1p36 - 1);
    constexpr std::uint64_t UNSIGNED = (1ULL << 63) + (1ULL << 39) + 1;
    EXPECT_THAT(Rounded<std::uint64_t>({UNSIGNED}).samples, ElementsAre(0x1p63F + 0x1p40F));
    EXPECT_EQ(Rounded<std::int64_t>({(1LL << 60) + 1}).change.largest_change, 1);
}

// The last digits of 9.81 as a double.
TEST(RoundSamples, TakesLastDigitsForNoSignal) {
    const Rounded<double> rounded({9.81, 9.81 + 0x1p-49, 9.81 - 0x1p-49});
    EXPECT_GT(rounded.change.largest_change, 0);
    EXPECT_EQ(rounded.change.part_of_range(), 0);
    EXPECT_GT(Rounded<double>({9.81, 9.81 + 1e-9}).change.part_of_range(), LARGE_PART_OF_RANGE);
    // A counter of 10 MHz and its microhertz; integers, which have no last digits of that kind.
    EXPECT_GT(Rounded<double>({1e7, 1e7 + 6e-6}).change.part_of_range(), LARGE_PART_OF_RANGE);
    EXPECT_EQ(Rounded<std::int64_t>({1LL << 60, (1LL << 60) + 4096}).change.part_of_range(), 1);
}

TEST(RoundSamples, CountsNeitherMissingNorInfiniteSamples) {
    const Rounded<double> rounded({NaN_DOUBLE, -INF_DOUBLE, INF_DOUBLE, -2, 0x1p-150});
    EXPECT_TRUE(std::isnan(rounded.samples[0]));
    EXPECT_EQ(rounded.samples[1], -INF);
    EXPECT_EQ(rounded.samples[4], 0);
    EXPECT_EQ(rounded.change.largest_change, 0x1p-150);
    EXPECT_EQ(rounded.change.largest_sample, 2);
    EXPECT_EQ(rounded.change.least, -2);
    EXPECT_EQ(rounded.change.greatest, 0x1p-150);
}

// Floats of 2^24 and more are 2 apart.
TEST(RoundSamples, TellsTheChangeAsAPartOfTheRange) {
    const Rounded<std::int32_t> rounded({(1 << 24) + 1, 1 << 24, (1 << 24) + 4});
    EXPECT_EQ(rounded.change.part_of_range(), 0.25);
    EXPECT_EQ(describe_rounding({.change = rounded.change, .worst = rounded.change, .line = {}}),
              "largest change 6.0e-08 of the largest sample, 2.5e-01 of the range");
    const Rounded<std::int32_t> constant({(1 << 24) + 1});
    EXPECT_EQ(constant.change.part_of_range(), 0);
    EXPECT_EQ(describe_rounding({.change = constant.change, .worst = constant.change, .line = {}}),
              "largest change 6.0e-08 of the largest sample");
}

TEST(RoundSamples, GathersWhatPartsOfASetTell) {
    RoundingChange all;
    all.add(Rounded<std::int32_t>({(1 << 24) + 1}).change);
    all.add(Rounded<std::int32_t>({1 << 24}).change);
    EXPECT_EQ(all.part_of_range(), 1);
    EXPECT_EQ(RoundingChange{}.part_of_range(), 0);
}

// Halfway between the greatest float and 2^128 begins what becomes infinite.
TEST(RoundSamples, TellsWhatBecomesInfinite) {
    constexpr double HALFWAY = 0x1.ffffffp127;
    const Rounded<double> below({std::nextafter(HALFWAY, 0.0)});
    EXPECT_THAT(below.samples, ElementsAre(std::numeric_limits<float>::max()));
    EXPECT_TRUE(std::isfinite(below.change.largest_change));
    const Rounded<double> beyond({-HALFWAY});
    EXPECT_THAT(beyond.samples, ElementsAre(-INF));
    EXPECT_TRUE(std::isinf(beyond.change.largest_change));
}

} // namespace
} // namespace talvora::host
