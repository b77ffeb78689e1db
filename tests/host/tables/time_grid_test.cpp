#include "host/tables/time_grid.h"
#include "host/text/failure.h"
#include "tests/host/tables/times_in_ticks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

using testing::DoubleNear;
using testing::ElementsAre;
using testing::StartsWith;

std::string grid_failure_of(const std::vector<double>& times) {
    try {
        place_on_grid(times, "walk.csv");
    } catch (const Failure& failure) {
        return failure.what();
    }
    return "none";
}

TEST(PlaceOnGrid, GivesEachRowItsSampleWhenTimesAreEven) {
    const TimeGrid grid = place_on_grid(std::vector<double>{5, 5.5, 6, 6.5}, "");
    EXPECT_EQ(grid.start_time, 5);
    EXPECT_EQ(grid.sample_rate, 2);
    EXPECT_EQ(grid.sample_count, 4U);
    EXPECT_THAT(grid.sample_of_row, ElementsAre(0, 1, 2, 3));
}

TEST(PlaceOnGrid, LeavesRoomForMissedRows) {
    const TimeGrid grid = place_on_grid(std::vector<double>{0, 1, 2, 5, 6, 8, 9}, "");
    EXPECT_THAT(grid.sample_of_row, ElementsAre(0, 1, 2, 5, 6, 8, 9));
    EXPECT_EQ(grid.sample_count, 10U);
}

TEST(PlaceOnGrid, TakesJitterOfAThirdOfAPeriod) {
    const TimeGrid grid =
        place_on_grid(std::vector<double>{0, 1.15, 1.9, 3.1, 3.95, 5.15, 6, 6.85, 8.15}, "");
    EXPECT_THAT(grid.sample_of_row, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8));
}

// A clock that runs two per cent slow in the second half is two thousand periods off
// at the end; counted from the first row, rows would be skipped and doubled.
TEST(PlaceOnGrid, FollowsAClockThatDrifts) {
    constexpr std::size_t COUNT = 200'000;
    std::vector<double> times = {0};
    for (std::size_t i = 1; i < COUNT; ++i) {
        times.push_back(times.back() + (i < COUNT / 2 ? 0.01 : 0.0102));
    }
    const TimeGrid grid = place_on_grid(times, "");
    EXPECT_EQ(grid.sample_count, COUNT);
    EXPECT_EQ(grid.sample_of_row.back(), COUNT - 1);
}

// Steps of 4, 4, 4, 3 ticks: the median step is 4, the period is 3.75.
TEST(PlaceOnGrid, TakesTheMeanOfRegularStepsAsThePeriod) {
    std::vector<double> times = {0};
    for (int i = 0; i < 400; ++i) {
        times.push_back(times.back() + (i % 4 == 3 ? 3 : 4));
    }
    EXPECT_THAT(place_on_grid(times, "").sample_rate, DoubleNear(1 / 3.75, 1e-15));
}

TEST(PlaceOnGrid, TakesTheRoundestRateThatTheDigitsAllow) {
    EXPECT_EQ(place_on_grid(in_ticks(400, 1000, 1e3), "").sample_rate, 400);
    EXPECT_EQ(place_on_grid(in_ticks(400, 3, 1e3), "").sample_rate, 400);
    EXPECT_EQ(place_on_grid(in_ticks(30, 500, 1e3), "").sample_rate, 30);
    EXPECT_EQ(place_on_grid(in_ticks(360, 1000, 1e6), "").sample_rate, 360);
    EXPECT_EQ(place_on_grid(in_ticks(1 / 0.003, 1000, 1e3), "").sample_rate, 1 / 0.003);
    EXPECT_EQ(place_on_grid(in_ticks(99.97, 100'000, 1e3), "").sample_rate, 99.97);
}

// Steps between two gaps, each known to a tick, leave rounder rates possible that the span does
// not.
TEST(PlaceOnGrid, KnowsTheRateByTheWholeSpanWhereRowsAreMissing) {
    const struct {
        double rate;
        std::size_t count;
        double ticks_per_second;
        unsigned every; // so many in a hundred are missing, here and there
    } recordings[] = {{128, 200, 1e3, 3},    {128, 2000, 1e3, 10},  {256, 200, 1e3, 1},
                      {256, 2000, 1e3, 10},  {59.94, 2000, 1e3, 3}, {75, 500, 1e3, 20},
                      {2291, 3000, 1e6, 10}, {2159, 3000, 1e6, 13}, {1754, 3000, 1e6, 13},
                      {1871, 500, 1e6, 30},  {400, 1000, 1e3, 5},   {29.97, 100, 1e3, 5}};
    for (const auto& [rate, count, ticks_per_second, every] : recordings) {
        const std::vector<double> all = in_ticks(rate, count, ticks_per_second);
        std::vector<double> times;
        std::vector<std::uint64_t> samples;
        std::uint32_t drawn = 1;
        for (std::size_t i = 0; i < count; ++i) {
            drawn = drawn * 1'664'525U + 1'013'904'223U;
            if (i == 0 || i + 1 == count || (drawn >> 16U) % 100 >= every) {
                times.push_back(all[i]);
                samples.push_back(i);
            }
        }
        ASSERT_LT(times.size(), count);
        for (const Placement placement : {Placement::Steps, Placement::Nearest}) {
            const TimeGrid grid = place_on_grid(times, "", {placement, std::nullopt, 1.5, 2});
            EXPECT_EQ(grid.sample_rate, rate) << every;
            EXPECT_EQ(grid.sample_of_row, samples) << rate << " " << every;
        }
    }
}

// One row too many leaves the rate as it is, whichever of its neighbours it is near to.
TEST(PlaceOnGrid, KnowsTheRateBesideARowTooMany) {
    for (const std::size_t count : {100U, 300U, 3000U}) {
        for (const double extra : {0.503, 0.497, 0.5}) {
            std::vector<double> times = in_ticks(100, count, 1e3);
            times.insert(std::ranges::upper_bound(times, extra), extra);
            EXPECT_THAT(place_on_grid(times, "").sample_rate, DoubleNear(100, 1e-9))
                << count << " " << extra;
        }
    }
}

// Ticks of a microsecond in a time of day since 1970, which a double tells to a quarter of that.
TEST(PlaceOnGrid, FindsTheRateOfTimesSince1970) {
    std::vector<double> times = in_ticks(1000, 5000, 1e6);
    for (double& time : times) {
        time += 1'700'000'000;
    }
    const TimeGrid grid = place_on_grid(times, "");
    EXPECT_EQ(grid.sample_rate, 1000);
    EXPECT_EQ(grid.start_time, 1'700'000'000);
}

TEST(PlaceOnGrid, AsksForARateThatRecordersSeldomHave) {
    EXPECT_EQ(grid_failure_of({0, 200, 400}),
              "walk.csv: the times give a rate of 0.005 Hz (allowed: "
              "0.01 Hz to 10000000 Hz)");
    EXPECT_EQ(grid_failure_of({0, 2e-8, 4e-8}),
              "walk.csv: the times give a rate of 5e+07 Hz (allowed: "
              "0.01 Hz to 10000000 Hz)");
    EXPECT_EQ(place_on_grid(std::vector<double>{0, 100, 200}, "").sample_rate, 0.01);
    EXPECT_EQ(place_on_grid(std::vector<double>{0, 1e-7, 2e-7}, "").sample_rate, 1e7);
}

// At 2 Hz the samples are at 0, 0.5, 1, 1.5 and 2 s; 1.1 s is nearer to 1 s than 0.8 s is.
TEST(PlaceOnGrid, PlacesRowsAtTheirNearestSamples) {
    const TimeGrid grid = place_on_grid(std::vector<double>{0, 0.1, 0.8, 1.1, 1.9}, "",
                                        {.placement = Placement::Nearest, .sample_rate = 2});
    EXPECT_THAT(grid.sample_of_row, ElementsAre(0, LEFT_OUT, LEFT_OUT, 2, 4));
    EXPECT_EQ(grid.sample_count, 5U);
    EXPECT_FALSE(grid.leaves_out(0));
    EXPECT_TRUE(grid.leaves_out(1));
    EXPECT_TRUE(grid.leaves_out(2));
    EXPECT_FALSE(grid.leaves_out(3));
}

std::vector<std::string> describe(const TimeGrid& grid) {
    std::vector<std::string> texts;
    for (const auto& [row, share] : grid.between_rows) {
        texts.push_back(std::isnan(share) ? "-"
                                          : std::to_string(row) + "+" +
                                                std::to_string(std::lround(1000 * share)));
    }
    return texts;
}

// At 1 Hz, with rows at 0, 0.8, 2.4, 3 and 7 s.
TEST(PlaceOnGrid, PlacesSamplesBetweenRowsThatAreNear) {
    const std::vector<double> times = {0, 0.8, 2.4, 3, 7};
    GridChoice choice{.placement = Placement::Linear, .sample_rate = 1, .max_gap_samples = 1.6};
    EXPECT_THAT(describe(place_on_grid(times, "", choice)),
                ElementsAre("0+0", "1+125", "1+750", "3+0", "-", "-", "-", "4+0"));
    choice.max_gap_samples = 1.5;
    EXPECT_THAT(describe(place_on_grid(times, "", choice)),
                ElementsAre("0+0", "-", "-", "3+0", "-", "-", "-", "4+0"));
    choice.max_gap_samples = 4;
    EXPECT_THAT(describe(place_on_grid(times, "", choice)),
                ElementsAre("0+0", "1+125", "1+750", "3+0", "3+250", "3+500", "3+750", "4+0"));
}

TEST(PlaceOnGrid, DoesNotLetGapsChangeTheRate) {
    EXPECT_EQ(place_on_grid(std::vector<double>{0, 1, 2, 3, 53, 54, 55}, "").sample_rate, 1);
}

TEST(PlaceOnGrid, MovesARowStampedLateBackIntoTheGap) {
    const TimeGrid grid = place_on_grid(std::vector<double>{0, 1, 2, 3.7, 4, 5, 6}, "");
    EXPECT_THAT(grid.sample_of_row, ElementsAre(0, 1, 2, 3, 4, 5, 6));
}

TEST(PlaceOnGrid, MovesARowStampedEarlyOnIntoTheGap) {
    const TimeGrid grid = place_on_grid(std::vector<double>{0, 1, 2, 2.3, 4, 5, 6}, "");
    EXPECT_THAT(grid.sample_of_row, ElementsAre(0, 1, 2, 3, 4, 5, 6));
}

TEST(PlaceOnGrid, LetsARepeatedRowShareItsSample) {
    const TimeGrid grid = place_on_grid(std::vector<double>{0, 1, 2, 2, 3, 4}, "");
    EXPECT_THAT(grid.sample_of_row, ElementsAre(0, 1, 2, 2, 3, 4));
    EXPECT_EQ(grid.sample_count, 5U);
}

TEST(PlaceOnGrid, RefusesTimesThatGiveNoGrid) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(grid_failure_of({1}), "walk.csv: one row gives no sample rate");
    EXPECT_EQ(grid_failure_of({0, nan, 2}),
              "walk.csv: row 3: a time cannot be nan (allowed: finite numbers)");
    EXPECT_EQ(grid_failure_of({0, 1, inf}),
              "walk.csv: row 4: a time cannot be inf (allowed: finite numbers)");
    EXPECT_EQ(grid_failure_of({0, 2, 1}), "walk.csv: time goes back from 2 to 1 in row 4");
    EXPECT_EQ(grid_failure_of({0, 0, 0, 1}), "walk.csv: most rows have the time of the row before");
    EXPECT_THAT(grid_failure_of({0, 1, 2, 1e300}), StartsWith("walk.csv: 4 rows span "));
}

} // namespace
} // namespace talvora::host
