#include "host/tables/time_column.h"
#include "host/text/failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvora::host {
namespace {

using testing::ElementsAre;

NumberColumn make_column(const std::string& name, std::vector<double> values) {
    return {.name = name, .values = std::move(values), .first_missing_text = {}};
}

std::string time_failure_of(const NumberColumn& column, ExitCode code) {
    try {
        read_seconds(column, 2, "walk.csv");
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.code(), code);
        return failure.what();
    }
    return "none";
}

TEST(IsNamedTime, KnowsTimeInEitherCaseWithAUnitOrWithout) {
    for (const char* name : {"time", "Time", "TIME (ms)", "t", "T [s]", "t(us)", "time  (s)",
                             "time_ms", "Time/ms", "time-s", "time.us", "time_ns"}) {
        EXPECT_TRUE(is_named_time(name)) << name;
    }
    for (const char* name :
         {"", "times", "Zeit", "(s)", "time s", "x (time)", "tt", "T_s", "time_of_day", "time_x"}) {
        EXPECT_FALSE(is_named_time(name)) << name;
    }
}

TEST(ReadSeconds, TakesTheUnitFromTheName) {
    EXPECT_THAT(read_seconds(make_column("t", {0.5, 2}), 2, ""), ElementsAre(0.5, 2));
    EXPECT_THAT(read_seconds(make_column("t (s)", {0.5, 2}), 2, ""), ElementsAre(0.5, 2));
    EXPECT_THAT(read_seconds(make_column("clock [ms]", {500, 2}), 2, ""), ElementsAre(0.5, 0.002));
    EXPECT_THAT(read_seconds(make_column("t (us)", {500}), 2, ""), ElementsAre(0.0005));
    EXPECT_THAT(read_seconds(make_column("t (\xC2\xB5s)", {500}), 2, ""), ElementsAre(0.0005));
}

TEST(ReadSeconds, TakesTheUnitFromTheEndOfTheName) {
    for (const char* name : {"time_ms", "time/ms", "t-ms", "stamp.ms", "t_msec"}) {
        EXPECT_THAT(read_seconds(make_column(name, {500, 2}), 2, ""), ElementsAre(0.5, 0.002))
            << name;
    }
    EXPECT_THAT(read_seconds(make_column("t_us", {500}), 2, ""), ElementsAre(0.0005));
    EXPECT_THAT(read_seconds(make_column("t_sec", {500}), 2, ""), ElementsAre(500));
    EXPECT_THAT(read_seconds(make_column("time_of_day", {500}), 2, ""), ElementsAre(500));
    EXPECT_EQ(time_failure_of(make_column("time_ns", {500}), ExitCode::Usage),
              "walk.csv: column 'time_ns' is a time in 'ns' (known: s, ms, us)");
}

// 2026-11-23 in milliseconds since 1970.
TEST(ReadSeconds, RefusesNumbersTooLargeForSecondsThatTellNoUnit) {
    EXPECT_EQ(time_failure_of(make_column("time", {1795392000000, 1795392000010}), ExitCode::Usage),
              "walk.csv: column 'time' holds 1795392000000, beyond the year 5000 in seconds, and "
              "tells no unit (known: s, ms, us)");
    EXPECT_THAT(read_seconds(make_column("time (ms)", {1795392000000}), 2, ""),
                ElementsAre(1795392000));
    EXPECT_THAT(read_seconds(make_column("time (s)", {1795392000000}), 2, ""),
                ElementsAre(1795392000000));
    EXPECT_THAT(read_seconds(make_column("time", {1795392000}), 2, ""), ElementsAre(1795392000));
}

TEST(ReadSeconds, PrefersTheUnitOfARowOfUnits) {
    NumberColumn column = make_column("Time", {500});
    column.unit = "ms";
    EXPECT_THAT(read_seconds(column, 3, ""), ElementsAre(0.5));
}

TEST(ReadSeconds, TakesDatesWhereAllCellsAre) {
    NumberColumn column = make_column("Time", {0, 0});
    column.dates = {5, 6};
    EXPECT_THAT(read_seconds(column, 2, ""), ElementsAre(5, 6));
    column.dates.pop_back();
    column.dates_have_zone = true;
    column.first_undated_text = "noon";
    EXPECT_EQ(time_failure_of(column, ExitCode::Input),
              "walk.csv: row 3, column 'Time': 'noon' is no time (allowed: "
              "2026-11-21T09:30:00.125Z, as above)");
}

TEST(ReadSeconds, RefusesOtherUnitsAndMissingTimes) {
    EXPECT_EQ(time_failure_of(make_column("Time (h)", {1}), ExitCode::Usage),
              "walk.csv: column 'Time (h)' is a time in 'h' (known: s, ms, us)");
    NumberColumn column = make_column("t", {0, 1});
    column.missing_count = 1;
    column.first_missing_row = 3;
    column.first_missing_text = "x";
    EXPECT_EQ(time_failure_of(column, ExitCode::Input),
              "walk.csv: row 3, column 't': 'x' is no time (allowed: a number of s with a decimal "
              "point)");
}

} // namespace
} // namespace talvora::host
