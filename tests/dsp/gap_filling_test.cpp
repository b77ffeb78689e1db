#include "dsp/gap_filling.h"
#include "dsp/missing_samples.h"
#include "tests/dsp/list_valid_runs.h"
#include "tests/support/special_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace talvora::dsp {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t UNLIMITED = std::numeric_limits<std::int64_t>::max();

std::vector<std::uint32_t> as_bits(const std::vector<float>& line) {
    std::vector<std::uint32_t> bits;
    for (const float sample : line) {
        bits.push_back(std::bit_cast<std::uint32_t>(sample));
    }
    return bits;
}

GapRows find_gaps(const std::vector<float>& line, std::int64_t max_length) {
    GapRows rows;
    append_gaps(list_valid_runs(line, -1), max_length, rows);
    return rows;
}

template <class Sample>
std::vector<Sample> fill_line(std::vector<Sample> line, std::int64_t max_length) {
    const auto runs = list_valid_runs(line, -1);
    GapRows rows;
    append_gaps(runs, max_length, rows);
    fill_gaps(line, runs, rows);
    return line;
}

// The same of doubles, when they are rounded.
std::vector<float> fill(const std::vector<float>& line, std::int64_t max_length) {
    const std::vector<double> doubles =
        fill_line(std::vector<double>(line.begin(), line.end()), max_length);
    const std::vector<float> filled = fill_line(line, max_length);
    EXPECT_EQ(as_bits(std::vector<float>(doubles.begin(), doubles.end())), as_bits(filled));
    return filled;
}

TEST(AppendGaps, ListsGapsBetweenRunsUpToTheMaximum) {
    const std::vector<float> line = {NaN, 1, NaN, 2, NaN, NaN, 3, NaN, NaN, NaN, 4, NaN};
    EXPECT_THAT(find_gaps(line, 0), IsEmpty());
    EXPECT_THAT(find_gaps(line, 2), ElementsAre(2, 1, 4, 2));
    EXPECT_THAT(find_gaps(line, UNLIMITED), ElementsAre(2, 1, 4, 2, 7, 3));
}

TEST(AppendGaps, ListsNothingForTheSmallestMaximum) {
    EXPECT_THAT(find_gaps({1, NaN, 2}, std::numeric_limits<std::int64_t>::min()), IsEmpty());
}

TEST(AppendGaps, KeepsTheRowsOfEarlierLines) {
    GapRows rows = {9, 9};
    append_gaps(list_valid_runs(std::vector<float>{1, NaN, 2}, -1), 1, rows);
    EXPECT_THAT(rows, ElementsAre(9, 9, 1, 1));
}

TEST(FillGaps, PutsGapsOnTheLineBetweenTheirNeighbours) {
    EXPECT_THAT(fill({0, NaN, NaN, NaN, 8, NaN, 2}, UNLIMITED), ElementsAre(0, 2, 4, 6, 8, 5, 2));
}

TEST(FillGaps, KeepsThePrecisionOfDoubles) {
    const std::vector<double> filled = fill_line<double>({1, NaN_DOUBLE, NaN_DOUBLE, 2}, UNLIMITED);
    EXPECT_EQ(filled[1], 1.0 / 3.0 + 1.0);
    EXPECT_EQ(filled[2], 2.0 / 3.0 + 1.0);
}

TEST(FillGaps, MarksWhatHasNoValueAmongDoubles) {
    const std::vector<double> line = {INF_DOUBLE, NaN_DOUBLE, INF_DOUBLE};
    EXPECT_EQ(std::bit_cast<std::uint64_t>(fill_line(line, 1)[1]), MISSING_DOUBLE_BITS);
}

TEST(FillGaps, LeavesGapsAloneThatAreNotListed) {
    EXPECT_THAT(as_bits(fill({0, NaN, NaN, 3, NaN, 5}, 1)), as_bits({0, NaN, NaN, 3, 4, 5}));
}

TEST(FillGaps, LetsAnInfiniteNeighbourSpread) {
    EXPECT_EQ(fill({1, NaN, INF}, 1)[1], INF);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(fill({INF, NaN, INF}, 1)[1]), MISSING_SAMPLE_BITS);
}

// Lines of random values, magnitudes and gaps.
TEST(FillGapsFromNeighbours, GivesTheBitsOfTheSearch) {
    std::mt19937 random(20261120);
    std::uniform_int_distribution<int> length(2, 3000);
    std::uniform_int_distribution<int> gap(1, 60);
    std::normal_distribution<float> value(0.0F, 1000.0F);
    for (int repetition = 0; repetition < 200; ++repetition) {
        std::vector<float> line(static_cast<std::size_t>(length(random)));
        for (float& sample : line) {
            sample = value(random) * std::exp(value(random) / 200.0F);
        }
        for (std::size_t i = 0; i < line.size(); i += static_cast<std::size_t>(gap(random))) {
            for (int k = gap(random); k > 0 && i < line.size(); --k, ++i) {
                line[i] = NaN;
            }
        }
        const auto runs = list_valid_runs(line, -1);
        GapRows rows;
        append_gaps(runs, 40, rows);
        std::vector<float> searched = line;
        fill_gaps_from_neighbours(line, rows);
        if (runs.size() > 1) {
            fill_gaps_by_search(searched, runs, rows);
        }
        ASSERT_EQ(as_bits(line), as_bits(searched));
    }
}

TEST(FillGapsFromNeighbours, GivesTheBitsOfTheSearchAtTheEndOfTheLongestExactLine) {
    std::vector<float> line(MAX_EXACT_LINE_LENGTH, 0.25F);
    for (std::size_t i = line.size() - 8; i + 1 < line.size(); ++i) {
        line[i] = NaN;
    }
    line.back() = 1.0F / 3.0F;
    std::vector<float> searched = line;
    const GapRows rows = find_gaps(line, UNLIMITED);
    ASSERT_THAT(rows, ElementsAre(16777208, 7));
    fill_gaps_by_search(searched, list_valid_runs(line, -1), rows);
    fill_gaps_from_neighbours(line, rows);
    for (std::size_t i = line.size() - 8; i < line.size(); ++i) {
        ASSERT_EQ(std::bit_cast<std::uint32_t>(line[i]), std::bit_cast<std::uint32_t>(searched[i]));
    }
}

// Past 2^24 two positions share each float. 2^24 + 2 is exact, 2^24 + 1 and 2^24 + 3
// round to even: to 2^24 and 2^24 + 4. So the gap at 2^24 + 1 is asked for at 2^24 and
// takes the value there, and the gap at 2^24 + 3 is asked for at 2^24 + 4 and takes
// the value there, where a straight line between neighbours would give the middle.
TEST(FillGaps, WorksWithPositionsInThePrecisionOfTheSamples) {
    constexpr std::size_t LIMIT = std::size_t{1} << 24;
    std::vector<float> line(LIMIT + 6, 1.0F);
    line[LIMIT + 1] = NaN;
    line[LIMIT + 2] = 5.0F;
    line[LIMIT + 3] = NaN;
    line[LIMIT + 4] = 9.0F;
    line[LIMIT + 5] = 9.0F;
    const std::vector<float> filled = fill_line(line, 1);
    EXPECT_EQ(filled[LIMIT + 1], 1.0F);
    EXPECT_EQ(filled[LIMIT + 3], 9.0F);
    const std::vector<double> doubles = fill_line(std::vector<double>(line.begin(), line.end()), 1);
    EXPECT_EQ(doubles[LIMIT + 1], 3.0);
    EXPECT_EQ(doubles[LIMIT + 3], 7.0);
}

} // namespace
} // namespace talvora::dsp
