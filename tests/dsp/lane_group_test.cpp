#include "dsp/lane_group.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <numeric>
#include <span>
#include <vector>

namespace talvora::dsp {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

// {1, 2, 4, 8} turned about its first and last sample, two positions each, and zero beyond:
// 2 * 1 - 4, 2 * 1 - 2, ..., 2 * 8 - 4, 2 * 8 - 2.
constexpr std::array EXTENDED = {0.0, -2.0, 0.0, 1.0, 2.0, 4.0, 8.0, 12.0, 14.0, 0.0};
constexpr std::ptrdiff_t FIRST = -1;
constexpr std::ptrdiff_t LAST = 9;

class ExtendedRunOfFour : public testing::Test {
  protected:
    std::vector<float> samples_ = {1, 2, 4, 8};
    ExtendedRun run_{samples_, 2};
};

TEST_F(ExtendedRunOfFour, IsTheRunBetweenItsReflections) {
    EXPECT_EQ(run_.size(), 8);
    for (std::ptrdiff_t position = FIRST; position < LAST; ++position) {
        EXPECT_EQ(run_[position], EXTENDED[static_cast<std::size_t>(position - FIRST)]) << position;
    }
}

TEST_F(ExtendedRunOfFour, LoadsAnyPositionsIntoAColumn) {
    for (std::ptrdiff_t first = FIRST; first < LAST; ++first) {
        for (std::ptrdiff_t last = first; last <= LAST; ++last) {
            std::vector<double> rows(3 * EXTENDED.size(), -1.0);
            run_.load(first, last, rows.data() + 1, 3);
            std::vector<double> expected(3 * EXTENDED.size(), -1.0);
            for (std::ptrdiff_t at = first; at < last; ++at) {
                expected[static_cast<std::size_t>(3 * (at - first) + 1)] =
                    EXTENDED[static_cast<std::size_t>(at - FIRST)];
            }
            ASSERT_THAT(rows, ElementsAreArray(expected)) << first << " to " << last;
        }
    }
}

TEST_F(ExtendedRunOfFour, StoresAmongTheSamplesAlone) {
    const std::vector<double> column = {10, 0, 11, 0, 12, 0, 13, 0};
    run_.store(0, 4, column.data(), 2); // two of padding, then the first two samples
    EXPECT_THAT(samples_, ElementsAre(12, 13, 4, 8));
    run_.store(5, 9, column.data(), 2); // the last sample and what follows it
    EXPECT_THAT(samples_, ElementsAre(12, 13, 4, 10));
}

// Two runs in four lanes, no padding: the second is in three of them.
TEST(LaneGroupOfRuns, RepeatsTheLastRunInLanesThatAreLeftAndWritesItOnce) {
    std::vector<float> first = {1, 2, 3};
    std::vector<float> second = {4, 5, 6};
    const std::array<std::span<float>, 2> runs = {first, second};
    const LaneGroup group(runs, 0, SSE2_LANE_KERNELS);
    ASSERT_EQ(group.lane_count(), 4U);
    std::array<double, 8> rows{};
    group.load_rows(1, 3, rows.data());
    EXPECT_THAT(rows, ElementsAre(2, 5, 5, 5, 3, 6, 6, 6));
    rows = {-1, -2, -3, -4, -5, -6, -7, -8};
    group.store_rows(1, 3, rows.data());
    EXPECT_THAT(first, ElementsAre(1, -1, -5));
    EXPECT_THAT(second, ElementsAre(4, -2, -6));
}

// Runs of 7, 6, 5 and 4 samples that count from 10, 20, 30 and 40 on, with two positions of
// padding at each end. A count that is turned about its ends goes on as it was: 8, 9, 10, ...
class LaneGroupOfUnevenRuns : public testing::Test {
  protected:
    static constexpr std::size_t LANE_COUNT = 4;
    static constexpr std::ptrdiff_t ROW_COUNT = 11;
    using Rows = std::array<double, LANE_COUNT * ROW_COUNT>;

    LaneGroupOfUnevenRuns() {
        for (std::size_t lane = 0; lane < LANE_COUNT; ++lane) {
            runs_[lane] = std::span(samples_[lane]).first(7 - lane);
            std::iota(runs_[lane].begin(), runs_[lane].end(), static_cast<float>(10 * lane + 10));
        }
    }

    static std::ptrdiff_t samples_end(std::size_t lane) {
        return 9 - static_cast<std::ptrdiff_t>(lane);
    }
    static double value_at(std::size_t lane, std::ptrdiff_t row) {
        const double count = static_cast<double>(10 * lane + 10) + static_cast<double>(row - 2);
        return row < samples_end(lane) + 2 ? count : 0.0;
    }
    static double& at(Rows& rows, std::size_t lane, std::ptrdiff_t row) {
        return rows[static_cast<std::size_t>(row) * LANE_COUNT + lane];
    }

    std::array<std::array<float, 7>, LANE_COUNT> samples_{};
    std::array<std::span<float>, LANE_COUNT> runs_;
};

TEST_F(LaneGroupOfUnevenRuns, LoadsAnyRows) {
    const LaneGroup group(runs_, 2, SSE2_LANE_KERNELS);
    for (std::ptrdiff_t first = 0; first < ROW_COUNT; ++first) {
        for (std::ptrdiff_t last = first; last <= ROW_COUNT; ++last) {
            Rows rows{};
            group.load_rows(first, last, rows.data());
            Rows expected{};
            for (std::ptrdiff_t row = first; row < last; ++row) {
                for (std::size_t lane = 0; lane < LANE_COUNT; ++lane) {
                    at(expected, lane, row - first) = value_at(lane, row);
                }
            }
            ASSERT_THAT(rows, ElementsAreArray(expected)) << first << " to " << last;
        }
    }
}

TEST_F(LaneGroupOfUnevenRuns, StoresAnyRowsAmongTheSamplesAlone) {
    const LaneGroup group(runs_, 2, SSE2_LANE_KERNELS);
    Rows rows{};
    for (std::ptrdiff_t first = 0; first < ROW_COUNT; ++first) {
        for (std::ptrdiff_t last = first; last <= ROW_COUNT; ++last) {
            auto expected = samples_;
            for (std::ptrdiff_t row = first; row < last; ++row) {
                for (std::size_t lane = 0; lane < LANE_COUNT; ++lane) {
                    at(rows, lane, row - first) += 1.0; // never what is there already
                    if (2 <= row && row < samples_end(lane)) {
                        expected[lane][static_cast<std::size_t>(row - 2)] =
                            static_cast<float>(at(rows, lane, row - first));
                    }
                }
            }
            group.store_rows(first, last, rows.data());
            ASSERT_EQ(samples_, expected) << first << " to " << last;
        }
    }
}

TEST(LaneGroupOfRuns, RepeatsWhereEveryLaneDoesToTheBit) {
    std::vector<float> first = {1, 2, 1, 2, 1, 2, 7, 0.0F};
    std::vector<float> second = {3, 3, 3, 3, 3, 3, 3, -0.0F};
    const std::array<std::span<float>, 2> runs = {first, second};
    const LaneGroup group(runs, 0, SSE2_LANE_KERNELS);
    EXPECT_TRUE(group.rows_repeat(2, 4));
    EXPECT_TRUE(group.rows_repeat(3, 5));
    EXPECT_TRUE(group.rows_repeat(4, 6));
    EXPECT_FALSE(group.rows_repeat(1, 2)); // 2 is not 1
    EXPECT_FALSE(group.rows_repeat(5, 7)); // nor is 7
    EXPECT_FALSE(group.rows_repeat(0, 2)); // nothing before it
    EXPECT_FALSE(group.rows_repeat(6, 8));
}

TEST(LaneGroupOfRuns, DoesNotRepeatWhereZerosDifferInSign) {
    std::vector<float> first = {0.0F, -0.0F, -0.0F};
    std::vector<float> second = {1, 1, 1};
    const std::array<std::span<float>, 2> runs = {first, second};
    const LaneGroup group(runs, 0, SSE2_LANE_KERNELS);
    EXPECT_FALSE(group.rows_repeat(1, 2));
    EXPECT_TRUE(group.rows_repeat(2, 3));
}

TEST(LaneGroupOfParts, CutsOneRunIntoAsManyAsItIsAskedFor) {
    std::vector<float> samples(40);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = static_cast<float>(i);
    }
    for (const std::size_t lane_count : {4U, 8U, 16U}) {
        // From the third sample on.
        const LaneGroup group({samples, 2}, 4, 2, lane_count, SSE2_LANE_KERNELS);
        EXPECT_EQ(group.lane_count(), lane_count);
        std::array<double, 2 * MAX_LANE_COUNT> rows{};
        group.load_rows(0, 2, rows.data());
        for (std::size_t lane = 0; lane < lane_count; ++lane) {
            EXPECT_EQ(rows[lane], static_cast<double>(2 + 2 * lane));
            EXPECT_EQ(rows[lane + lane_count], static_cast<double>(3 + 2 * lane));
            EXPECT_EQ(group.sample(lane, 1), static_cast<double>(3 + 2 * lane));
        }
    }
}

} // namespace
} // namespace talvora::dsp
