#include "dsp/run_group.h"
#include "tests/dsp/all_kernels.h"
#include "tests/dsp/random_filters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace talvora::dsp {
namespace {

class RunGroup : public ForAllKernels {
  protected:
    // Filters lines of the given lengths side by side, as many as there are lanes, and one by one;
    // in place and from one place to another.
    void expect_plain_bits(RandomFilters& random, const std::vector<std::size_t>& lengths,
                           const FilterCoefficients& coefficients,
                           std::optional<std::size_t> pad_count = std::nullopt) {
        for_samples_of_each_type([&]<class Sample>(Sample) {
            expect_plain_bits_of<Sample>(random, lengths, coefficients, pad_count);
        });
    }

    template <class Sample>
    void expect_plain_bits_of(RandomFilters& random, std::vector<std::size_t> lengths,
                              const FilterCoefficients& coefficients,
                              std::optional<std::size_t> pad_count) {
        std::ranges::sort(lengths, std::ranges::greater{});
        std::vector<std::vector<Sample>> samples;
        std::vector<std::vector<Sample>> apart;
        for (const std::size_t length : lengths) {
            samples.push_back(random.samples<Sample>(length));
            apart.emplace_back(length, 77);
        }
        const PreparedFilter filter = prepare_filter(coefficients, pad_count);
        filter_groups<Sample>(runs_between(samples, apart), filter);
        expect_plain_bits_of(apart, samples, filter, coefficients, pad_count);
        std::vector<std::vector<Sample>> lines = samples;
        filter_groups<Sample>(runs_in_place(lines), filter);
        expect_plain_bits_of(lines, samples, filter, coefficients, pad_count);
    }

    template <class Sample>
    void filter_groups(Runs<Sample> runs, const PreparedFilter& filter) {
        const LaneKernels<Sample>& kernels = GetParam().of<Sample>();
        const std::size_t lane_count = kernels.lane_count(filter.tap_count(), MAX_LANE_COUNT);
        while (!runs.empty()) {
            const Runs<Sample> group = runs.first(std::min(runs.size(), lane_count));
            runs = runs.subspan(group.size());
            EXPECT_TRUE(run_group(group, runs, filter, kernels, scratch_));
        }
    }

    template <class Sample>
    static void expect_plain_bits_of(const std::vector<std::vector<Sample>>& lines,
                                     const std::vector<std::vector<Sample>>& samples,
                                     const PreparedFilter& filter,
                                     const FilterCoefficients& coefficients,
                                     std::optional<std::size_t> pad_count) {
        for (std::size_t line = 0; line < lines.size(); ++line) {
            const std::vector<Sample> expected =
                filter_plainly(samples[line], samples[line].size(), coefficients, pad_count);
            ASSERT_EQ(first_difference(lines[line], expected), expected.size())
                << "line " << line << " of " << lines.size() << ", " << coefficients.a.size()
                << " taps, " << expected.size() << " samples, padded by " << filter.pad_count();
        }
    }

    LaneScratch scratch_;
};

// What takes long and is the same whatever the kernels.
class LongRunGroup : public RunGroup {};

INSTANTIATE_TEST_SUITE_P(Narrowest, LongRunGroup, testing::Values(lane_kernels_to_test().front()),
                         name_kernels);

INSTANTIATE_TEST_SUITE_P(Kernels, RunGroup, testing::ValuesIn(lane_kernels_to_test()),
                         name_kernels);

TEST_P(RunGroup, GivesThePlainBitsForEveryCountOfLinesAndTaps) {
    RandomFilters random(1);
    for (std::size_t tap_count = 2; tap_count <= 17; ++tap_count) {
        for (std::size_t line_count = 1; line_count <= MAX_LANE_COUNT; ++line_count) {
            const std::size_t length = random.count(3 * tap_count - 1, 400);
            expect_plain_bits(random, std::vector(line_count, length),
                              random.filter(tap_count, false));
        }
    }
}

// In whole tiles, within a tile, one after the other and several at once.
TEST_P(RunGroup, GivesThePlainBitsWhereverLanesEnd) {
    RandomFilters random(13);
    const FilterCoefficients filter = random.filter(3, false);
    for (const std::size_t step : {0U, 1U, 7U, 15U, 16U, 17U, 32U}) {
        for (std::size_t last = 16; last < 34; ++last) {
            std::vector<std::size_t> lengths(MAX_LANE_COUNT);
            std::ranges::generate(lengths, [length = last, step]() mutable {
                return std::exchange(length, length + step);
            });
            expect_plain_bits(random, lengths, filter);
        }
    }
}

// Kernels share products between the ends of such numerators, which low and band passes have.
TEST_P(RunGroup, GivesThePlainBitsForNumeratorsThatReadTheSameBackwards) {
    RandomFilters random(5);
    for (std::size_t tap_count = 2; tap_count <= 11; ++tap_count) {
        for (const std::size_t line_count : {1U, 3U, 8U, 16U}) {
            FilterCoefficients filter = random.filter(tap_count, false);
            std::copy_n(filter.b.begin(), tap_count / 2, filter.b.rbegin());
            expect_plain_bits(random, std::vector<std::size_t>(line_count, 400), filter);
        }
    }
}

TEST_P(RunGroup, GivesThePlainBitsForUnequalLengthsFromTheShortestOn) {
    RandomFilters random(2);
    for (int trial = 0; trial < 200; ++trial) {
        const std::size_t tap_count = random.count(2, 11);
        std::vector<std::size_t> lengths(random.count(1, MAX_LANE_COUNT));
        std::ranges::generate(lengths, [&] { return 3 * tap_count - 1 + random.count(0, 300); });
        expect_plain_bits(random, lengths, random.filter(tap_count, false));
    }
}

TEST_P(RunGroup, GivesThePlainBitsWhenTheFilterGrowsWithoutBound) {
    RandomFilters random(3);
    for (int trial = 0; trial < 100; ++trial) {
        const std::size_t tap_count = random.count(2, 9);
        std::vector<std::size_t> lengths(random.count(1, MAX_LANE_COUNT));
        std::ranges::generate(lengths, [&] { return random.count(3 * tap_count - 1, 4000); });
        expect_plain_bits(random, lengths, random.filter(tap_count, true));
    }
}

// Many segments: sixteen lanes keep the last 4,096 rows whole, and 2,016 in each segment
// before them; eight and four lanes two and four times as many.
TEST_P(RunGroup, GivesThePlainBitsForLinesLongerThanItsScratch) {
    RandomFilters random(4);
    std::vector<std::size_t> lengths(9, 250'000);
    lengths[8] = 130'000;
    lengths[7] = 4'096; // ends where a segment does
    expect_plain_bits(random, lengths, random.filter(3, false));
    for (const std::size_t line_count : {5U, 2U}) {
        lengths.resize(line_count);
        lengths.back() = 16'384;
        expect_plain_bits(random, lengths, random.filter(3, false));
    }
}

// From a single sample on, of which nothing is left for the tiles.
TEST_P(RunGroup, GivesThePlainBitsForAnyPadding) {
    RandomFilters random(16);
    for (int trial = 0; trial < 300; ++trial) {
        const std::size_t pad_count = random.one_in(2) ? 0 : random.count(1, 100);
        const std::size_t most = random.one_in(2) ? 5 : 300;
        std::vector<std::size_t> lengths(random.count(1, MAX_LANE_COUNT));
        std::ranges::generate(lengths, [&] { return pad_count + random.count(1, most); });
        expect_plain_bits(random, lengths, random.filter(random.count(2, 11), false), pad_count);
    }
}

// In segments, too.
TEST_P(RunGroup, GivesThePlainBitsWithoutPaddingWhereverLanesEnd) {
    RandomFilters random(17);
    const FilterCoefficients filter = random.filter(3, false);
    for (const std::size_t last : {1U, 2U, 16U, 17U, 18U, 33U}) {
        expect_plain_bits(random, {last, last, last, last + 16, last + 32, 40, 41, 1}, filter, 0);
    }
    expect_plain_bits(random, {40'001, 40'001, 40'000, 20'161, 4'097, 17, 16, 1}, filter, 0);
}

// In the first and the last lane and one that shares a vector with others; where the padding is
// made, in a segment that is passed over, and among the rows that are kept.
template <class Sample>
void expect_left_as_they_are(const LaneKernels<Sample>& kernels, std::size_t length,
                             std::optional<std::size_t> pad_count) {
    const PreparedFilter filter = prepare_filter({{0.25, 0.5, 0.25}, {1.0, -0.5, 0.25}}, pad_count);
    LaneScratch scratch;
    for (const std::size_t lane : {0U, 5U, 7U}) {
        for (const std::size_t place :
             {std::size_t{0}, std::size_t{3}, length / 8, length / 2, length - 1}) {
            std::vector<std::vector<Sample>> lines(8, std::vector<Sample>(length, 1));
            lines[lane][place] = std::numeric_limits<Sample>::quiet_NaN();
            const auto samples = lines;
            const std::vector<Run<Sample>> runs = runs_in_place(lines);
            EXPECT_FALSE(run_group<Sample>(runs, {}, filter, kernels, scratch, Searched::No));
            for (std::size_t line = 0; line < lines.size(); ++line) {
                ASSERT_EQ(first_difference(lines[line], samples[line]), length)
                    << "missing: sample " << place << " of line " << lane;
            }
        }
    }
}

TEST_P(RunGroup, LeavesRunsAsTheyAreWhenASampleTurnsOutToBeMissing) {
    for_samples_of_each_type([]<class Sample>(Sample) {
        for (const std::size_t length : {8U, 300U, 40'000U}) {
            expect_left_as_they_are(GetParam().of<Sample>(), length, std::nullopt);
            expect_left_as_they_are(GetParam().of<Sample>(), length, 0);
        }
    });
}

TEST_P(RunGroup, FiltersRunsThatTurnOutToBeValid) {
    const PreparedFilter filter = prepare_filter({{0.25, 0.5, 0.25}, {1.0}}); // unit gain
    for_samples_of_each_type([&]<class Sample>(Sample) {
        for (const std::size_t length : {8U, 300U, 40'000U}) {
            std::vector<std::vector<Sample>> lines(2, std::vector<Sample>(length));
            lines[0][length / 2] = lines[1][length / 2] = 16;
            EXPECT_TRUE(run_group<Sample>(runs_in_place(lines), {}, filter, GetParam().of<Sample>(),
                                          scratch_, Searched::No));
            // Forward and backward: [1 4 6 4 1] / 16.
            EXPECT_EQ(lines[0][length / 2], 6);
            EXPECT_EQ(lines[0][length / 2 + 1], 4);
            EXPECT_EQ(lines[0][length / 2 - 2], 1);
            EXPECT_EQ(lines[1], lines[0]);
        }
    });
}

// 352 taps pad a run with 1,053 samples.
TEST_P(LongRunGroup, GivesThePlainBitsForPaddingOfManyTiles) {
    RandomFilters random(8);
    std::vector<std::size_t> lengths(9, 1'055);
    lengths[0] = 33'000;
    const FilterCoefficients with_long_memory = {std::vector<double>(352, 1.0), {1.0, -0.9995}};
    expect_plain_bits(random, lengths, with_long_memory);
}

// Sixteen lanes keep 4,080 rows, eight 8,160, and segments are half of that.
TEST_P(RunGroup, GivesThePlainBitsAboutTheLengthThatIsKeptWhole) {
    RandomFilters random(5);
    const FilterCoefficients filter = random.filter(3, false);
    for (const std::size_t length :
         {4'079U, 4'080U, 4'081U, 6'096U, 6'097U, 8'159U, 8'160U, 8'161U, 12'241U, 34'805U}) {
        expect_plain_bits(random, std::vector<std::size_t>(9, length), filter);
    }
}

} // namespace
} // namespace talvora::dsp
