#include "host/tables/row_placement.h"
#include "host/tables/time_ticks.h"
#include "host/text/failure.h"
#include "tests/host/tables/times_in_ticks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

using testing::DoubleNear;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Optional;

// Rows at a rate without those that `is_lost` says.
template <class IsLost>
std::vector<double> with_gaps(double rate, std::size_t count, IsLost is_lost) {
    std::vector<double> times;
    for (std::size_t i = 0; i < count; ++i) {
        if (!is_lost(i)) {
            times.push_back(static_cast<double>(i) / rate);
        }
    }
    return times;
}

Failure placement_failure_of(const std::vector<double>& times) {
    try {
        place_rows(times, "Time", {}, "walk.csv");
    } catch (const Failure& failure) {
        return failure;
    }
    return {ExitCode::Done, "none"};
}

TEST(PlaceRows, RefusesGapsThatAnotherRateExplains) {
    const Failure failure = placement_failure_of(in_ticks(800, 10'000, 1e3));
    EXPECT_EQ(failure.code(), ExitCode::Input);
    EXPECT_STREQ(failure.what(),
                 "walk.csv: 'Time' has two readings: 10000 rows at 800 Hz one behind the other, "
                 "their times cut to 0.001 s, or at 1000 Hz with 2499 missing");
    EXPECT_THAT(failure.hints(), ElementsAre("--rate 800 takes them one behind the other",
                                             "--rate 1000 --grid nearest takes them with gaps"));
    for (const double rate : {700.0, 900.0, 960.0, 812.37}) {
        EXPECT_THAT(placement_failure_of(in_ticks(rate, 10'000, 1e3)).what(),
                    HasSubstr("two readings"))
            << rate;
    }
    for (const double rate : {70.0, 75.0, 80.0, 90.0, 95.0}) {
        EXPECT_THAT(placement_failure_of(in_ticks(rate, 1000, 1e2)).what(),
                    HasSubstr("two readings"))
            << rate;
    }
    EXPECT_THAT(placement_failure_of(in_ticks(800, 10'000, 1e3, 1.7e12)).what(),
                HasSubstr("at 800 Hz"));
}

// A recording that lost a row besides, or many. The first gap of the rounding lies behind the
// fourth row, the last before the loss behind the 696th; the first row of numbers is row 2.
TEST(PlaceRows, RefusesThemBesideRowsThatAreMissing) {
    std::vector<double> times = in_ticks(800, 1500, 1e3);
    times.erase(times.begin() + 700);
    const Failure failure = placement_failure_of(times);
    EXPECT_EQ(failure.code(), ExitCode::Input);
    EXPECT_STREQ(failure.what(),
                 "walk.csv: 'Time' has two readings: rows 5 to 698 at 800 Hz one behind the "
                 "other, their times cut to 0.001 s, or all at 1000 Hz with 375 missing");
    EXPECT_THAT(failure.hints(),
                ElementsAre("--rate 800 --time '' takes all rows one behind the other",
                            "--rate 1000 --grid nearest takes them with gaps"));
    for (std::size_t row = 1450; row >= 50; row -= 50) {
        times.erase(times.begin() + static_cast<std::ptrdiff_t>(row));
    }
    EXPECT_THAT(placement_failure_of(times).what(), HasSubstr("at 800 Hz one behind the other"));
}

// Half a tick goes to the even one: the earliest and the latest row are a whole tick apart.
TEST(PlaceRows, RefusesThemWhereTimesAreRoundedToo) {
    std::vector<double> times;
    for (int i = 0; i < 8000; ++i) {
        times.push_back(std::nearbyint(i * 1.25) * 1e-3);
    }
    EXPECT_THAT(placement_failure_of(times).what(),
                HasSubstr("8000 rows at 800 Hz one behind the other"));
    EXPECT_EQ(find_contradiction(times, 800, 2), std::nullopt);
}

TEST(PlaceRows, TakesGapsThatNoOtherRateExplains) {
    const auto lost_in_bursts = with_gaps(1000, 10'000, [](std::size_t i) { return i % 500 < 20; });
    const auto lost_at_random =
        with_gaps(100, 5000, [](std::size_t i) { return i > 0 && (i * i * 7919) % 101 < 11; });
    const auto lost_seldom = with_gaps(100, 500, [](std::size_t i) { return i % 100 == 50; });
    for (const auto& times : {lost_in_bursts, lost_at_random, lost_seldom}) {
        const PlacedRows placed = place_rows(times, "Time", {}, "walk.csv");
        EXPECT_GT(placed.grid.sample_count, times.size());
    }
}

TEST(PlaceRows, TakesEitherReadingByItsRate) {
    const auto times = in_ticks(800, 10'000, 1e3);
    EXPECT_EQ(find_contradiction(times, 800, 2), std::nullopt);
    EXPECT_THAT(find_contradiction(times, 1000, 2), Optional(HasSubstr("(800")));
    const GridChoice with_gaps{.placement = Placement::Nearest, .sample_rate = 1000};
    const PlacedRows placed = place_rows(times, "Time", with_gaps, "walk.csv");
    EXPECT_THAT(
        std::vector(placed.grid.sample_of_row.begin(), placed.grid.sample_of_row.begin() + 6),
        ElementsAre(0, 1, 2, 3, 5, 6));
}

// Fifty rows are lost behind the hundredth, and one is told fifty times later on.
TEST(FindContradiction, SeesRowsThatAreRepeatedForLostOnes) {
    std::vector<double> times;
    for (int i = 0; i < 5000; ++i) {
        if (i < 100 || i >= 150) {
            times.push_back(i / 100.0);
        }
        if (i == 999) {
            times.insert(times.end(), 50, times.back());
        }
    }
    EXPECT_THAT(find_contradiction(times, 100, 2),
                Optional(HasSubstr("by it row 102 comes 0.5 s later (allowed: 0.07 s)")));
}

// A clock of whole seconds.
TEST(FindContradiction, TakesManyRowsAtOneTime) {
    EXPECT_EQ(find_contradiction(in_ticks(100, 2001, 1), 100, 2), std::nullopt);
}

TEST(FindContradiction, SeesARowThatIsMissingBesideTheRounding) {
    std::vector<double> times = in_ticks(800, 1500, 1e3);
    times.erase(times.begin() + 700);
    EXPECT_THAT(find_contradiction(times, 800, 2), Optional(HasSubstr("missing")));
}

// Too few gaps to tell, but the rate says which reading it is. A row that is missing stays one.
TEST(FindContradiction, TakesARateThatTheRoundingOfTimesExplains) {
    EXPECT_EQ(find_contradiction(in_ticks(800, 30, 1e3), 800, 2), std::nullopt);
    EXPECT_THAT(find_contradiction(with_gaps(100, 500, [](auto i) { return i == 50; }), 100, 2),
                Optional(HasSubstr("by it 1 of 500 rows missing, the first behind row 51")));
    const auto many = with_gaps(1000, 10'000, [](std::size_t i) { return i % 500 < 2; });
    EXPECT_THAT(find_contradiction(many, 996, 2), Optional(HasSubstr("missing")));
}

TEST(TimeTicks, TellWhetherRowsMayHaveComeOneBehindTheOther) {
    EXPECT_THAT(find_unbroken_rate(in_ticks(800, 10'000, 1e3)), Optional(800));
    EXPECT_THAT(find_unbroken_rate(in_ticks(90, 1000, 1e2)), Optional(90));
    EXPECT_THAT(find_unbroken_rate(in_ticks(812.37, 10'000, 1e3)),
                Optional(DoubleNear(812.37, 0.1)));
    EXPECT_THAT(find_unbroken_rate(in_ticks(1000, 100, 1e3)), Optional(1000));
    EXPECT_EQ(find_unbroken_rate({{0, 0.001, 0.002, 0.003, 0.006, 0.007, 0.008}}), std::nullopt);
    EXPECT_EQ(find_tick({{0, 0.25, 0.5}}), 0.01);
    EXPECT_EQ(find_tick({{0, 2, 7}}), 1);
}

} // namespace
} // namespace talvora::host
