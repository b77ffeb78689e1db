#include "host/tables/csv_reader.h"
#include "host/tables/table_import.h"
#include "host/text/failure.h"
#include "host/tree/memory_tree.h"
#include "tests/support/special_values.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::NanSensitiveFloatEq;

struct Imported {
    MemoryTree tree;
    ImportReport report;

    ObjectId find(const std::string& path) { return tree.find(tree.root(), path).value(); }
    std::vector<float> samples(const std::string& path) {
        const ObjectId set = find(path);
        const Extents extents = tree.extents(set);
        std::vector<float> values(extents[0] * extents[1] * extents[2]);
        tree.read(set, {.starts = Extents{0, 0, 0}, .counts = extents}, values);
        return values;
    }
    AttributeValue attribute(const std::string& path, const std::string& name) {
        return tree.read_attribute(find(path), name).value();
    }
};

void import_text(Imported& result, std::string_view csv, const ImportOptions& options = {}) {
    result.report = import_table(parse_csv(csv, "walk.csv"), options, result.tree, "walk.csv");
}

Failure import_failure_of(std::string_view csv, const ImportOptions& options = {}) {
    Imported result;
    try {
        import_text(result, csv, options);
    } catch (const Failure& failure) {
        return failure;
    }
    return {ExitCode::Done, "none"};
}

TEST(ImportTable, StacksTheColumnsOfASetInTheOrderGiven) {
    Imported result;
    import_text(
        result, "t,X,Y\n0,1,10\n1,2,20\n2,3,30\n",
        {.group = "Imu", .sets = {{"Rate", {"Y", "X"}}}, .sample_rate = {}, .time_column = {}});
    EXPECT_EQ(result.tree.extents(result.find("Imu/Rate")), (Extents{2, 1, 3}));
    EXPECT_THAT(result.samples("Imu/Rate"), ElementsAre(10, 20, 30, 1, 2, 3));
    EXPECT_THAT(result.report.sets, ElementsAre("Imu/Rate"));
}

TEST(ImportTable, WritesRateAndNumberOfSamplesAsFloatsAndTheStartAsADouble) {
    Imported result;
    import_text(result, "t,X\n2.5,1\n3,2\n3.5,3\n");
    EXPECT_EQ(result.attribute("Signals/X", "SampleRate"), AttributeValue(2.0F));
    EXPECT_EQ(result.attribute("Signals/X", "StartTime"), AttributeValue(2.5));
    EXPECT_EQ(result.attribute("Signals", "SampleRate"), AttributeValue(2.0F));
    EXPECT_EQ(result.attribute("Signals", "NumSamples"), AttributeValue(3.0F));
}

using Texts = std::vector<std::string>;

TEST(ImportTable, KeepsTheNamesOfComponentsAndTheirSharedUnit) {
    Imported result;
    import_text(result, "t,Gyro X (deg/s),Gyro Y [deg/s]\n0,1,2\n1,3,4\n",
                {.sets = {{"Rate", {"Gyro X (deg/s)", "Gyro Y [deg/s]"}}},
                 .sample_rate = {},
                 .time_column = {}});
    EXPECT_EQ(result.attribute("Signals/Rate", "Labels"),
              AttributeValue(TextArray{Texts{"Gyro X", "Gyro Y"}, {2}}));
    EXPECT_EQ(result.attribute("Signals/Rate", "Unit"), AttributeValue(std::string("deg/s")));
}

TEST(ImportTable, KeepsAUnitForEachComponentWhereTheyDiffer) {
    Imported result;
    import_text(result, "t,Force (N),Angle,Moment (Nm)\n0,1,2,3\n1,3,4,5\n",
                {.sets = {{"Load", {"Force (N)", "Angle", "Moment (Nm)"}}, {"Angle", {"Angle"}}},
                 .sample_rate = {},
                 .time_column = {}});
    EXPECT_EQ(result.attribute("Signals/Load", "Labels"),
              AttributeValue(TextArray{Texts{"Force", "Angle", "Moment"}, {3}}));
    EXPECT_EQ(result.attribute("Signals/Load", "Unit"),
              AttributeValue(TextArray{Texts{"N", "", "Nm"}, {3}}));
    EXPECT_THAT(result.tree.list_attributes(result.find("Signals/Angle")),
                ElementsAre("SampleRate", "StartTime"));
}

TEST(ImportTable, NamesTheSetOfAColumnAsBeforeAndItsComponentWithoutTheUnit) {
    Imported result;
    import_text(result, "t,Gyro X (deg/s)\n0,1\n1,3\n");
    EXPECT_EQ(result.attribute("Signals/Gyro X (deg_s)", "Labels"),
              AttributeValue(TextArray{Texts{"Gyro X"}, {1}}));
    EXPECT_EQ(result.attribute("Signals/Gyro X (deg_s)", "Unit"),
              AttributeValue(std::string("deg/s")));
}

TEST(ImportTable, TakesForNoUnitWhatAloneTellsColumnsApart) {
    Imported result;
    import_text(result, "t,Force (left),Force (right)\n0,1,2\n1,3,4\n",
                {.sets = {{"Force", {"Force (left)", "Force (right)"}}},
                 .sample_rate = {},
                 .time_column = {}});
    EXPECT_EQ(result.attribute("Signals/Force", "Labels"),
              AttributeValue(TextArray{Texts{"Force (left)", "Force (right)"}, {2}}));
    EXPECT_THAT(result.tree.list_attributes(result.find("Signals/Force")),
                ElementsAre("Labels", "SampleRate", "StartTime"));
}

// Floats of that size are 128 apart.
TEST(ImportTable, WarnsOfASmallSignalOnALargeOffset) {
    Imported result;
    import_text(result, "X,Y\n2000000000,0\n2000000064,2000000064\n2000001000,1\n",
                {.sets = {}, .sample_rate = 100.0, .time_column = {}});
    EXPECT_THAT(
        result.report.warnings,
        ElementsAre("walk.csv: column 'X': numbers between 2e+09 and 2.000001e+09 change by "
                    "up to 64 as 32-bit floats, 6.4e-02 of that range; subtract an offset "
                    "in the table before"));
}

TEST(ImportTable, TakesUnitsFromTheirRow) {
    Imported result;
    import_text(result, "Time,X,Y\nms,g,g\n0,1,2\n10,3,4\n",
                {.sets = {{"A", {"X", "Y"}}}, .sample_rate = {}, .time_column = {}});
    EXPECT_EQ(result.attribute("Signals/A", "SampleRate"), AttributeValue(100.0F));
    EXPECT_EQ(result.attribute("Signals/A", "Unit"), AttributeValue(std::string("g")));
    EXPECT_EQ(result.report.infos.front(), "walk.csv: row 2 holds the units of the columns");
}

TEST(ImportTable, PlacesRowsByTheOnlyColumnOfDates) {
    Imported result;
    import_text(result, "stamp,X\n2026-11-21 09:30:00,1\n2026-11-21 09:30:00.5,2\n"
                        "2026-11-21 09:30:01,3\n2026-11-21 09:30:02,4\n");
    EXPECT_EQ(result.attribute("Signals/X", "SampleRate"), AttributeValue(2.0F));
    EXPECT_EQ(result.attribute("Signals/X", "StartTime"), AttributeValue(1795253400.0));
    EXPECT_THAT(result.report.infos,
                ElementsAre("walk.csv: 'stamp' tells no zone and is taken as UTC",
                            "walk.csv: 4 rows by 'stamp' on 5 samples at 2 Hz; 1 sample without a "
                            "row, NaN there"));
    EXPECT_STREQ(import_failure_of("stamp,X\n2026-11-21 09:30:00,1\n21.11.2026 09:30:01,2\n",
                                   {.sets = {}, .sample_rate = {}, .time_column = "stamp"})
                     .what(),
                 "walk.csv: row 3, column 'stamp': '21.11.2026 09:30:01' is no time (allowed: "
                 "2026-11-21 09:30:00.125, as above)");
}

TEST(ImportTable, MakesASetOfEveryColumnWithNumbersButTheTime) {
    Imported result;
    import_text(result, "Time [s],X,note,a/b\n0,1,left,3\n1,2,,4\n");
    EXPECT_THAT(result.report.sets, ElementsAre("Signals/X", "Signals/a_b"));
    EXPECT_THAT(result.report.warnings,
                ElementsAre("walk.csv: column 'note' holds no number and is left out"));
}

TEST(ImportTable, PutsNanWhereARowOrACellIsMissing) {
    Imported result;
    import_text(result, "t,X\n0,1\n1,x\n2,3\n4,5\n5,6\n");
    EXPECT_THAT(result.samples("Signals/X"),
                ElementsAre(1, NanSensitiveFloatEq(NaN), 3, NanSensitiveFloatEq(NaN), 5, 6));
    EXPECT_THAT(result.report.warnings,
                ElementsAre("walk.csv: column 'X': 1 of 5 cells hold no number, NaN stands there "
                            "(first in row 3: 'x')"));
    EXPECT_THAT(result.report.infos,
                ElementsAre("walk.csv: 5 rows by 't' on 6 samples at 1 Hz; 1 sample without a "
                            "row, NaN there"));
}

// A second of rows at 1 kHz behind the rows, one time in seconds of this century.
TEST(ImportTable, KeepsTheStartOfTimesSince1970) {
    Imported result;
    import_text(result, "t,X\n1700000056.25,1\n1700000056.5,2\n1700000056.75,3\n");
    EXPECT_EQ(result.attribute("Signals/X", "StartTime"), AttributeValue(1700000056.25));
    EXPECT_EQ(result.attribute("Signals/X", "SampleRate"), AttributeValue(4.0F));
}

// `rows` rows at 1 Hz that hold their numbers, the row `again` twice.
std::string repeat_row(int rows, int again) {
    std::string csv = "t,X\n";
    for (int i = 0; i < rows; ++i) {
        csv += fmt::format("{},{}\n", i, i);
        csv += i == again ? fmt::format("{},99\n", i) : "";
    }
    return csv;
}

TEST(ImportTable, KeepsTheFirstOfRowsThatShareASample) {
    Imported result;
    import_text(result, repeat_row(99, 1));
    EXPECT_EQ(result.samples("Signals/X")[1], 1);
    EXPECT_THAT(result.report.warnings,
                ElementsAre("walk.csv: 1 row left out, less than half a sample after the row "
                            "before (first: row 4)"));
}

TEST(ImportTable, RefusesToLeaveOutMoreThanOneRowInAHundred) {
    const Failure failure = import_failure_of(repeat_row(98, 1));
    EXPECT_EQ(failure.code(), ExitCode::Input);
    EXPECT_STREQ(failure.what(), "walk.csv: 1 of 99 rows (1 %) less than half a sample after the "
                                 "row before, first row 4 (allowed: 1 %), on a grid of 1 Hz");
    EXPECT_THAT(failure.hints().front(), HasSubstr("--grid nearest"));
}

// Ten steps of 1 s and ten of 1.3 s have a mean of 1.15 s, known to a tenth of a twentieth of a
// second: the roundest rate is 0.87 Hz. Row 12, stamped 10 s, comes to stand at 10 / 0.87 s.
TEST(ImportTable, RefusesRowsMoreThanHalfASampleFromTheirTimes) {
    std::string csv = "t,X\n";
    for (int i = 0; i <= 20; ++i) {
        csv += fmt::format("{:.1f},{}\n", i <= 10 ? i : 10 + 1.3 * (i - 10), i);
    }
    const Failure failure = import_failure_of(csv);
    EXPECT_EQ(failure.code(), ExitCode::Input);
    EXPECT_STREQ(failure.what(),
                 "walk.csv: row 12, at 10 s, stands 1.3 samples (1.49 s) from its place on a grid "
                 "of 0.87 Hz (allowed: 0.5 samples): the rows are not equally spaced");
    ASSERT_EQ(failure.hints().size(), 2U);
    EXPECT_THAT(failure.hints()[0], HasSubstr("--grid linear"));
    EXPECT_THAT(failure.hints()[1], HasSubstr("--rate HZ"));
    Imported jittering;
    import_text(jittering, "t,X\n0,1\n1.2,1\n1.9,1\n3.1,1\n4,1\n");
    EXPECT_THAT(jittering.report.warnings, IsEmpty());
}

TEST(ImportTable, PlacesRowsAtTheNearestSamplesWhenAsked) {
    Imported result;
    import_text(
        result, "t,X\n0,1\n0.1,2\n0.8,3\n1.1,4\n1.9,5\n",
        {.sets = {}, .sample_rate = 2, .time_column = "t", .placement = Placement::Nearest});
    EXPECT_THAT(result.samples("Signals/X"),
                ElementsAre(1, NanSensitiveFloatEq(NaN), 4, NanSensitiveFloatEq(NaN), 5));
    EXPECT_THAT(result.report.infos, ElementsAre("walk.csv: 3 rows by 't' on 5 samples at 2 Hz; 2 "
                                                 "samples without a row, NaN there"));
    EXPECT_THAT(result.report.warnings,
                ElementsAre("walk.csv: 2 rows left out, another one is nearer to the same sample "
                            "(first: row 3)"));
}

TEST(ImportTable, InterpolatesBetweenNearRowsWhenAsked) {
    Imported result;
    import_text(result, "t,X,Y\n0,1,1\n0.8,5,2\n2.4,13,x\n3,10,4\n7,1,5\n",
                {.sets = {},
                 .sample_rate = 1,
                 .time_column = {},
                 .placement = Placement::Linear,
                 .max_gap_samples = 2});
    const auto missing = NanSensitiveFloatEq(NaN);
    EXPECT_THAT(result.samples("Signals/X"),
                ElementsAre(1, 6, 11, 10, missing, missing, missing, 1));
    EXPECT_THAT(result.samples("Signals/Y"),
                ElementsAre(1, missing, missing, 4, missing, missing, missing, 5));
    EXPECT_THAT(result.report.infos,
                ElementsAre("walk.csv: 5 rows by 't' interpolated to 8 samples at 1 Hz; 3 samples "
                            "between rows more than 2 samples apart, NaN there"));
}

TEST(ImportTable, RefusesARateThatTheTimesContradict) {
    std::string csv = "Time (ms),X\n";
    for (int i = 0; i < 500; ++i) {
        csv += fmt::format("{},{}\n", 4 * i, i);
    }
    const auto at = [](double rate) {
        return ImportOptions{.sets = {}, .sample_rate = rate, .time_column = {}};
    };
    const Failure failure = import_failure_of(csv, at(100));
    EXPECT_EQ(failure.code(), ExitCode::Input);
    EXPECT_STREQ(failure.what(),
                 "walk.csv: --rate 100 contradicts the column 'Time (ms)': by it the 500 rows take "
                 "1.996 s (250 Hz), not 4.99 s");
    EXPECT_EQ(failure.hints(),
              (std::vector<std::string>{"--time 'Time (ms)' without --rate places the rows by it",
                                        "--rate 100 --time '' leaves it aside"}));
    for (const double rate : {250.0, 250.2}) {
        Imported fitting;
        import_text(fitting, csv, at(rate));
        EXPECT_EQ(fitting.report.sample_rate, rate);
    }
    Imported without_times;
    import_text(without_times, "t,X\nx,1\ny,2\n", at(100));
    EXPECT_EQ(without_times.report.sample_rate, 100);
}

// What cannot be held against the rate is left aside where that is asked for, only.
TEST(ImportTable, RefusesARateBesideTimesThatTellNothingOfIt) {
    const std::map<std::string, std::string> refusals = {
        {"t,X\n0,1\nMean,2\n",
         "walk.csv: row 3, column 't': 'Mean' is no time (allowed: a number of s with a decimal "
         "point)"},
        {"Time (min),X\n0,1\n1,2\n",
         "walk.csv: column 'Time (min)' is a time in 'min' (known: s, ms, us)"},
        {"t,X\n0,1\n0.2,2\n0.1,3\n",
         "walk.csv: --rate 10 contradicts the column 't': by it row 4 (0.1 s) comes before row 3 "
         "(0.2 s)"},
        {"t,X\n5,1\n5,2\n5,3\n",
         "walk.csv: --rate 10 contradicts the column 't': by it all 3 rows are at 5 s"},
    };
    for (const auto& [csv, message] : refusals) {
        const Failure failure =
            import_failure_of(csv, {.sets = {}, .sample_rate = 10, .time_column = {}});
        EXPECT_EQ(failure.what(), message);
        EXPECT_THAT(failure.hints().back(), testing::StartsWith("--rate 10 --time '' leaves "))
            << csv;
        Imported left_aside;
        import_text(left_aside, csv, {.sets = {}, .sample_rate = 10, .time_column = ""});
        EXPECT_EQ(left_aside.report.sample_rate, 10);
    }
}

// 5 rows of 10000, less than a thousandth: those behind them would come too early.
TEST(ImportTable, RefusesARateWhereRowsAreMissing) {
    std::string csv = "Time (s),X\n";
    for (int i = 0; i < 10000; ++i) {
        if (i < 4000 || i >= 4005) {
            csv += fmt::format("{:.2f},{}\n", 0.01 * i, i);
        }
    }
    const Failure failure =
        import_failure_of(csv, {.sets = {}, .sample_rate = 100, .time_column = {}});
    EXPECT_EQ(failure.code(), ExitCode::Input);
    EXPECT_STREQ(failure.what(), "walk.csv: --rate 100 contradicts the column 'Time (s)': by it 5 "
                                 "of 10000 rows missing, the first behind row 4001");
}

// Rows as they come in packets: their times are those of the packets.
TEST(ImportTable, SpacesRowsOfPacketsEvenlyAtAGivenRate) {
    std::string csv = "Time (s),X\n";
    for (int i = 0; i < 10000; ++i) {
        csv += fmt::format("{:.2f},{}\n", 0.1 * (i / 10), i);
    }
    Imported result;
    import_text(result, csv, {.sets = {}, .sample_rate = 100, .time_column = {}});
    EXPECT_EQ(result.report.sample_count, 10000);
}

TEST(ImportTable, KeepsTheStartOfATimeColumnBesideARate) {
    Imported result;
    import_text(result, "t,X\n2.5,1\n3,2\n3.5,3\n",
                {.sets = {}, .sample_rate = 2, .time_column = {}});
    EXPECT_EQ(result.attribute("Signals/X", "StartTime"), AttributeValue(2.5));
    EXPECT_THAT(result.samples("Signals/X"), ElementsAre(1, 2, 3));
}

TEST(ImportTable, SpacesRowsEvenlyAtAGivenRate) {
    Imported result;
    import_text(result, "t,X\n0,1\n7,2\n", {.sets = {}, .sample_rate = 100, .time_column = ""});
    EXPECT_THAT(result.report.sets, ElementsAre("Signals/X"));
    EXPECT_THAT(
        result.report.infos,
        ElementsAre("walk.csv: column 't' looks like a time and becomes no set (--set NAME=t "
                    "makes it one)"));
    EXPECT_EQ(result.attribute("Signals/X", "SampleRate"), AttributeValue(100.0F));
    EXPECT_EQ(result.attribute("Signals/X", "StartTime"), AttributeValue(0.0));
}

TEST(ImportTable, RefusesABlankRowBetweenRowsThatAreEquallySpaced) {
    const Failure failure = import_failure_of("X,Y\n1,10\n\n2,20\n",
                                              {.sets = {}, .sample_rate = 100, .time_column = {}});
    EXPECT_EQ(failure.code(), ExitCode::Input);
    EXPECT_STREQ(failure.what(), "walk.csv: row 3 is blank: rows that are equally spaced have no "
                                 "room between them");
}

TEST(ImportTable, ReadsTheUnitOfTheTimeFromItsName) {
    Imported result;
    import_text(result, "clock (ms),X\n500,1\n510,2\n520,3\n",
                {.sets = {}, .sample_rate = {}, .time_column = "clock (ms)"});
    EXPECT_EQ(result.attribute("Signals/X", "SampleRate"), AttributeValue(100.0F));
    EXPECT_EQ(result.attribute("Signals/X", "StartTime"), AttributeValue(0.5));
}

TEST(ImportTable, RefusesWhatCannotBe) {
    const std::string csv = "t,X,note\n0,1,left\n1,2,right\n";
    const auto usage = [&](const ImportOptions& options) {
        const Failure failure = import_failure_of(csv, options);
        EXPECT_EQ(failure.code(), ExitCode::Usage) << failure.what();
        return std::string(failure.what());
    };
    EXPECT_EQ(usage({.sets = {{"A", {"Z"}}}, .sample_rate = {}, .time_column = {}}),
              "walk.csv: no column 'Z' (known: t, X, note)");
    EXPECT_EQ(usage({.sets = {{"A", {"X"}}, {"A", {"X"}}}, .sample_rate = {}, .time_column = {}}),
              "--set: two sets named 'A'");
    EXPECT_EQ(usage({.sets = {}, .sample_rate = 0, .time_column = {}}),
              "--rate 0: a sample rate is greater than 0 Hz and finite");
    EXPECT_THAT(usage({.sets = {}, .sample_rate = 1, .time_column = "t"}), HasSubstr("exclude"));
    EXPECT_EQ(usage({.sets = {}, .sample_rate = {}, .time_column = {}, .max_gap_samples = 0}),
              "--max-gap 0: a number of samples is greater than 0 and finite");
    EXPECT_STREQ(
        import_failure_of(
            "X\n1\n",
            {.sets = {}, .sample_rate = 1, .time_column = {}, .placement = Placement::Nearest})
            .what(),
        "walk.csv: no time column, which --grid needs");
    EXPECT_EQ(import_failure_of("X\n1\n").code(), ExitCode::Usage);
    EXPECT_EQ(import_failure_of("Time (h),X\n1,1\n2,2\n").code(), ExitCode::Usage);
    EXPECT_EQ(
        import_failure_of(csv, {.sets = {{"A", {"note"}}}, .sample_rate = {}, .time_column = {}})
            .code(),
        ExitCode::Input);
    EXPECT_EQ(import_failure_of("t,note\n0,left\n1,right\n").code(), ExitCode::Input);
}

TEST(ImportTable, HintsAtHowTheFormatWritesNumbers) {
    EXPECT_THAT(import_failure_of("t,note\n0,left\n1,right\n").hints(),
                ElementsAre("numbers have a decimal point; columns are parted by ',', ';' or a "
                            "tab"));
    const ImportOptions of_notes{.sets = {{"A", {"note"}}}, .sample_rate = {}, .time_column = {}};
    EXPECT_THAT(import_failure_of("t,note,X\n0,left,1\n1,right,2\n", of_notes).hints(),
                ElementsAre("numbers have a decimal point, whatever the locale"));
    NumberTable table = make_table(std::vector<std::string>{"t", "note"}, "walk.xyz");
    add_row(table, std::vector<std::string>{"0", "left"}, "walk.xyz");
    add_row(table, std::vector<std::string>{"1", "right"}, "walk.xyz");
    try {
        MemoryTree tree;
        import_table(table, {}, tree, "walk.xyz");
        FAIL();
    } catch (const Failure& failure) {
        EXPECT_THAT(failure.hints(), IsEmpty());
    }
}

TEST(ParseSetOfColumns, SplitsAtTheFirstEqualsSignAndAtCommas) {
    const SetOfColumns set = parse_set_of_columns("Rate=X (deg/s),\"Y, a=b\"");
    EXPECT_EQ(set.name, "Rate");
    EXPECT_THAT(set.columns, ElementsAre("X (deg/s)", "Y, a=b"));
}

TEST(ParseSetOfColumns, RefusesAMissingNameAndPaths) {
    for (const std::string text : {"Rate", "=X", "Rate=", "a/b=X", "..=X"}) {
        EXPECT_THROW(parse_set_of_columns(text), Failure) << text;
    }
}

} // namespace
} // namespace talvora::host
