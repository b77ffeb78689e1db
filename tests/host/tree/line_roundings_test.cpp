#include "host/tree/line_roundings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace talvora::host {
namespace {

constexpr std::int32_t LARGE = 1 << 24; // floats from there on are 2 apart

RoundingChange round(LineRoundings& lines, const Extents& starts, const Extents& counts,
                     const std::vector<std::int32_t>& stored) {
    std::vector<float> rounded(stored.size());
    return lines.round<std::int32_t>({starts, counts}, stored, rounded);
}

TEST(LineRoundings, TellTheLineThatLosesMostOfItsRange) {
    LineRoundings lines({2, 2, 2});
    round(lines, {0, 0, 0}, {2, 2, 2}, {0, 1, LARGE + 1, LARGE + 5, LARGE + 1, LARGE, -9, 9});
    const SetRounding sum = lines.sum_up();
    EXPECT_EQ(sum.line, 2U);
    EXPECT_EQ(sum.worst.part_of_range(), 1);
    EXPECT_EQ(sum.worst.greatest, LARGE + 1);
    EXPECT_EQ(sum.change.least, -9);
    EXPECT_EQ(sum.change.greatest, LARGE + 5);
}

TEST(LineRoundings, GatherTheRangeOfALineFromItsParts) {
    LineRoundings lines({2, 1, 4});
    round(lines, {1, 0, 0}, {1, 1, 2}, {LARGE + 1, LARGE});
    EXPECT_EQ(lines.sum_up().worst.part_of_range(), 1);
    round(lines, {1, 0, 2}, {1, 1, 2}, {LARGE, LARGE + 10});
    EXPECT_EQ(lines.sum_up().worst.part_of_range(), 0.1);
    EXPECT_EQ(lines.sum_up().line, 1U);
}

// A part across the lines: row by row it is [1, 0], [1, 1] of the lines [0, :], [1, :], [2, :].
TEST(LineRoundings, FindTheLinesOfAPart) {
    LineRoundings lines({3, 2, 3});
    round(lines, {1, 1, 2}, {2, 1, 1}, {1, LARGE});
    round(lines, {1, 1, 0}, {2, 1, 2}, {1, 2, LARGE + 1, LARGE + 4});
    const SetRounding sum = lines.sum_up();
    EXPECT_EQ(sum.line, 5U);
    EXPECT_EQ(sum.worst.part_of_range(), 0.25);
}

TEST(LineRoundings, TellTheChangeOfAPartAsAWhole) {
    LineRoundings lines({2, 2});
    const RoundingChange change = round(lines, {0, 0}, {2, 2}, {0, 1, LARGE + 1, LARGE + 2});
    EXPECT_EQ(change.largest_change, 1);
    EXPECT_EQ(change.least, 0);
    EXPECT_EQ(change.greatest, LARGE + 2);
}

TEST(LineRoundings, TakeOneLineAndVeryManyTogether) {
    LineRoundings one({1, 1, 2});
    round(one, {0, 0, 0}, {1, 1, 2}, {LARGE + 1, LARGE});
    EXPECT_EQ(one.sum_up().line, std::nullopt);
    LineRoundings many({4097, 2});
    round(many, {0, 0}, {2, 2}, {0, 0, LARGE + 1, LARGE});
    EXPECT_EQ(many.sum_up().line, std::nullopt);
    EXPECT_LT(many.sum_up().worst.part_of_range(), 1e-7);
}

// 1024 samples that lie two apart where floats do, but each fourth one between two of them; one of
// them is replaced by an outlier.
std::vector<std::int32_t> make_line(std::size_t outlier_at, std::int32_t outlier) {
    std::vector<std::int32_t> samples;
    for (std::int32_t i = 0; i < 1024; ++i) {
        samples.push_back(LARGE + (i % 4 == 0 ? 1 : 2 * (i % 4)));
    }
    samples[outlier_at] = outlier;
    return samples;
}

TEST(LineRoundings, AreNotHiddenByAnOutlier) {
    for (const std::size_t outlier_at : {0U, 500U, 1023U}) {
        for (const std::int32_t outlier : {0, -LARGE, 32 * LARGE}) {
            LineRoundings lines({2, 1, 1024});
            const auto samples = make_line(outlier_at, outlier);
            round(lines, {1, 0, 0}, {1, 1, 700}, {samples.begin(), samples.begin() + 700});
            round(lines, {1, 0, 500}, {1, 1, 524}, {samples.begin() + 500, samples.end()});
            const SetRounding sum = lines.sum_up();
            EXPECT_TRUE(sum.leaves_outliers);
            EXPECT_EQ(sum.line, 1U);
            EXPECT_EQ(sum.worst.least, LARGE + 1);
            EXPECT_EQ(sum.worst.greatest, LARGE + 6);
            EXPECT_EQ(sum.worst.part_of_range(), 0.2);
            EXPECT_EQ(sum.change.largest_change, 1);
        }
    }
}

// The same samples as a signal that goes as far as the outlier for a while.
TEST(LineRoundings, TakeTheRangeOfASignalThatGoesFar) {
    LineRoundings lines({1, 1024});
    std::vector<std::int32_t> samples = make_line(0, 0);
    std::fill_n(samples.begin() + 400, 100, 0);
    round(lines, {0, 0}, {1, 1024}, samples);
    EXPECT_FALSE(lines.sum_up().leaves_outliers);
    EXPECT_LT(lines.sum_up().worst.part_of_range(), 1e-7);
}

TEST(LineRoundings, AreNoneOfNothing) {
    EXPECT_EQ(LineRoundings({0, 3}).sum_up().change.largest_change, 0);
    EXPECT_EQ(LineRoundings({}).sum_up().change.largest_change, 0);
    EXPECT_EQ(LineRoundings({3, 3}).sum_up().change.largest_change, 0);
}

} // namespace
} // namespace talvora::host
