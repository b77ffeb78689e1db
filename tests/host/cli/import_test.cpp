#include "tests/host/cli/cli_test.h"

#include <nlohmann/json.hpp>

#include <cstdlib>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

using Import = CommandLine;

TEST_F(Import, TellsWhatItMadeAndHowRowsWerePlaced) {
    write_file(folder_ / "walk.csv", "Time (s),X\n2,1\n2.5,2\n3.5,x\n4,5\n");
    const auto result = run({"import", "walk.csv", "-o", "walk.h5", "--group", "Imu"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.output, "walk.h5: Imu/X (5 samples at 2 Hz)\n");
    EXPECT_EQ(result.errors,
              "warning: walk.csv: column 'X': 1 of 4 cells hold no number, NaN stands there (first "
              "in row 4: 'x')\n"
              "info: walk.csv: 4 rows by 'Time (s)' on 5 samples at 2 Hz; 1 sample without a "
              "row, NaN there\n");
}

TEST_F(Import, SaysNothingButWarningsWhenQuiet) {
    write_file(folder_ / "walk.csv", "t,X\n0,1\n1,2\n");
    const auto result = run({"import", "walk.csv", "-o", "walk.h5", "--quiet"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.output, IsEmpty());
    EXPECT_THAT(result.errors, IsEmpty());
}

TEST_F(Import, StacksColumnsIntoSets) {
    write_file(folder_ / "walk.csv", "\"Gyro X (deg/s)\";\"Gyro, Y\";note\n1;10;a\n2;20;b\n");
    const auto result = run({"import", "walk.csv", "-o", "walk.h5", "--rate", "50", "--set",
                             "Rate=Gyro X (deg/s),\"Gyro, Y\"", "--set", "X=Gyro X (deg/s)"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_EQ(result.output, "walk.h5: Signals/Rate, Signals/X (2 samples at 50 Hz)\n");
}

TEST_F(Import, WarnsOfNumbersThatStandForMissingOnes) {
    write_file(folder_ / "walk.csv", "X\n1\n-9999\n-9999\n2\n");
    const auto result = run({"import", "walk.csv", "-o", "walk.h5", "--rate", "10"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.errors,
              "warning: walk.csv: column 'X': 2 of 4 numbers are -9999, the others lie between 1 "
              "and 2; if it says that they are missing: --missing -9999\n");
    const auto told = run(
        {"import", "walk.csv", "-o", "walk.h5", "--rate", "10", "--force", "--missing", "-9999"});
    EXPECT_EQ(told.exit_code, 0);
    EXPECT_EQ(told.errors,
              "info: walk.csv: column 'X': 2 numbers of --missing, NaN stands there\n");
    EXPECT_THAT(run({"history", "walk.h5"}).output, HasSubstr("--missing -9999"));
    EXPECT_EQ(
        run({"import", "walk.csv", "-o", "no.h5", "--rate", "10", "--missing", "x"}).exit_code, 2);
}

TEST_F(Import, TakesOneWordBehindEachSet) {
    write_file(folder_ / "walk.csv", "A,B\n1,2\n");
    const auto result = run({"import", "--rate", "1", "--set", "X=A", "walk.csv", "-o", "walk.h5"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
}

TEST_F(Import, AddsAGroupToAFileAndKeepsTheOthers) {
    write_file(folder_ / "one.csv", "X\n1\n2\n");
    write_file(folder_ / "two.csv", "Y\n3\n");
    run({"import", "one.csv", "-o", "both.h5", "--group", "One", "--rate", "50"});
    const auto result =
        run({"import", "two.csv", "-o", "both.h5", "--group", "Two", "--rate", "10", "--append"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_EQ(result.output, "both.h5: Two/Y (1 sample at 10 Hz)\n");
    const std::string listing = run({"tree", "both.h5"}).output;
    EXPECT_THAT(listing, HasSubstr("One/X"));
    EXPECT_THAT(listing, HasSubstr("Two/Y"));
}

TEST_F(Import, LeavesAFileAsItIsWhenTheGroupIsThereAlready) {
    write_file(folder_ / "one.csv", "X\n1\n2\n");
    run({"import", "one.csv", "-o", "one.h5", "--group", "One", "--rate", "50"});
    const std::string before = read_file(folder_ / "one.h5");
    for (const Program::Words& more : {Program::Words{}, Program::Words{"-n"}}) {
        Program::Words words = {"import", "one.csv", "-o", "one.h5",  "--group",
                                "One",    "--rate",  "50", "--append"};
        words.insert(words.end(), more.begin(), more.end());
        const auto result = run(words);
        EXPECT_EQ(result.exit_code, 5);
        EXPECT_THAT(result.errors, StartsWith("error: one.h5: "));
        EXPECT_THAT(result.errors, HasSubstr("One"));
        EXPECT_EQ(read_file(folder_ / "one.h5"), before);
    }
}

TEST_F(Import, AddsToNothingButAFileOfDataSets) {
    write_file(folder_ / "one.csv", "X\n1\n2\n");
    const auto missing = run({"import", "one.csv", "-o", "one.h5", "--rate", "50", "--append"});
    EXPECT_EQ(missing.exit_code, 3);
    EXPECT_FALSE(fs::exists(folder_ / "one.h5"));
    write_file(folder_ / "text.h5", "no data sets here");
    const auto text = run({"import", "one.csv", "-o", "text.h5", "--rate", "50", "--append"});
    EXPECT_EQ(text.exit_code, 3);
}

TEST_F(Import, PlacesARecordingWithJitterAndGapsOnItsGrid) {
    const auto result =
        run({"import", TALVORA_EXAMPLES "/imu_excerpt.csv", "-o", "walk.h5", "--set",
             "AngularRate=Gyroscope X (deg/s),Gyroscope Y (deg/s),"
             "Gyroscope Z (deg/s)"});
    ASSERT_EQ(result.exit_code, 0) << result.errors;
    const auto tree =
        nlohmann::json::parse(run({"tree", "walk.h5", "--statistics", "--json"}).output);
    const auto& set = tree["objects"][1];
    // Five gaps of two rows each, counted in the table:
    // awk -F, 'NR>2 && $1-p>.015 {n++} {p=$1} END {print n, NR-1}' gives 5 2510.
    EXPECT_THAT(set["shape"], ElementsAre(3, 1, 2520));
    EXPECT_EQ(set["statistics"]["missing"], 3 * 10);
    // 2519 steps from 15.007976 s to 40.198507 s.
    EXPECT_NEAR(set["sample_rate"].get<double>(), 2519 / (40.198507 - 15.007976), 0.01);
}

TEST_F(Import, ReadsWhatStandsAroundATable) {
    write_file(folder_ / "walk.csv", "Recorder 7\nSubject: 12\n\nTime;X;Y\nms;deg/s;g\n0;0,5;1\n"
                                     "10;1,5;2\n");
    const auto result = run({"import", "walk.csv", "-o", "walk.h5", "--set", "A=X,Y"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_EQ(
        result.errors,
        "info: walk.csv: row 4 holds the names of the columns, what is above it is left out\n"
        "info: walk.csv: row 5 holds the units of the columns\n"
        "info: walk.csv: numbers have a decimal comma\n"
        "info: walk.csv: 2 rows by 'Time' on 2 samples at 100 Hz; 0 samples without a row, NaN "
        "there\n");
    EXPECT_EQ(run({"export", "walk.h5", "-o", "-"}).output,
              "Time (s),A.X (deg/s),A.Y (g)\n0,0.5,1\n0.01,1.5,2\n");
}

TEST_F(Import, AsksWhereATableHasTwoReadings) {
    write_file(folder_ / "walk.csv", "X;Y\nleft;right\n1,500;2\n");
    const auto words = run({"import", "walk.csv", "-o", "walk.h5", "--rate", "10"});
    EXPECT_EQ(words.exit_code, 3);
    EXPECT_THAT(words.errors, StartsWith("error: walk.csv: row 2 holds no number"));
    EXPECT_THAT(words.errors, HasSubstr("\nhint: --units-row: row 2 holds units; --header 2: "));
    const auto commas =
        run({"import", "walk.csv", "-o", "walk.h5", "--rate", "10", "--header", "2"});
    EXPECT_EQ(commas.exit_code, 3);
    EXPECT_THAT(commas.errors, StartsWith("error: walk.csv: row 3, column 'left': '1,500' could"));
    EXPECT_FALSE(fs::exists(folder_ / "walk.h5"));
    EXPECT_EQ(run({"import", "walk.csv", "-o", "walk.h5", "--rate", "10", "--units-row",
                   "--decimal-comma"})
                  .exit_code,
              0);
    EXPECT_EQ(run({"export", "walk.h5", "-o", "-"}).output,
              "Time (s),X (left),Y (right)\n0,1.5,2\n");
    EXPECT_EQ(run({"import", "walk.csv", "-o", "no.h5", "--header", "9"}).exit_code, 2);
    EXPECT_EQ(run({"import", "walk.csv", "-o", "no.h5", "--header", "0"}).exit_code, 2);
}

TEST_F(Import, OffersWaysOutForRowsThatAreNotEquallySpaced) {
    write_file(folder_ / "walk.csv", "t,X\n0,0\n1,10\n2.6,26\n3,30\n4.4,44\n5,50\n");
    const auto refused = run({"import", "walk.csv", "-o", "walk.h5"});
    EXPECT_EQ(refused.exit_code, 3);
    EXPECT_THAT(refused.errors, StartsWith("error: walk.csv: row "));
    EXPECT_THAT(refused.errors, HasSubstr("\nhint: --grid nearest places"));
    EXPECT_FALSE(fs::exists(folder_ / "walk.h5"));
    const auto linear = run({"import", "walk.csv", "-o", "walk.h5", "--grid", "linear", "--rate",
                             "1", "--max-gap", "2"});
    EXPECT_EQ(linear.exit_code, 0) << linear.errors;
    EXPECT_EQ(run({"export", "walk.h5", "-o", "-"}).output,
              "Time (s),X\n0,0\n1,10\n2,20\n3,30\n4,40\n5,50\n");
    const auto nearest =
        run({"import", "walk.csv", "-o", "walk.h5", "--force", "--grid", "nearest", "--rate", "1"});
    EXPECT_EQ(nearest.exit_code, 0) << nearest.errors;
    EXPECT_EQ(run({"export", "walk.h5", "-o", "-"}).output,
              "Time (s),X\n0,0\n1,10\n2,\n3,30\n4,44\n5,50\n");
    EXPECT_EQ(run({"import", "walk.csv", "-o", "no.h5", "--grid", "cubic"}).exit_code, 2);
    EXPECT_EQ(run({"import", "walk.csv", "-o", "no.h5", "--max-gap", "2"}).exit_code, 2);
}

// The downsample unit reads and writes attributes of the sets, average-set copies them and writes
// StartTime.
TEST_F(Import, MakesStartsThatUnitsTake) {
    write_file(folder_ / "walk.csv", "t,X\n1700000056.25,1\n1700000056.5,2\n1700000056.75,3\n");
    ASSERT_EQ(run({"import", "walk.csv", "-o", "walk.h5"}).exit_code, 0);
    const auto mean = run({"run", "average-set", "SourceGroup=Signals", "DestinationGroup=M",
                           "walk.h5", "-o", "m.h5"});
    EXPECT_EQ(mean.exit_code, 0) << mean.errors;
    EXPECT_THAT(run({"tree", "m.h5::M/X", "--attributes"}).output, HasSubstr("StartTime = NaN\n"));
    EXPECT_EQ(run({"export", "m.h5::Signals", "-o", "-"}).output,
              "Time (s),X\n1700000056.25,1\n1700000056.5,2\n1700000056.75,3\n");
}

TEST_F(Import, GivesTheSameBytesForTheSameCommand) {
    import_walk("one.h5");
    import_walk("two.h5");
    EXPECT_EQ(read_file(folder_ / "one.h5"), read_file(folder_ / "two.h5"));
}

// A locale made for the test, so that it does not depend on those installed.
TEST_F(Import, ReadsAndWritesNumbersWithAPointInACommaLocale) {
    const std::string locale = (folder_ / "de_DE.UTF-8").string();
    if (std::system(("localedef -i de_DE -f UTF-8 '" + locale + "' >/dev/null 2>&1").c_str()) !=
        0) {
        GTEST_SKIP() << "no localedef, or no source of the locale de_DE";
    }
    write_file(folder_ / "walk.csv", "t;X\n0,5;1\n1.5;2.25\n2.5;3\n");
    // The C library itself keeps the path of such a locale, which a leak check would report.
    const ProgramOptions german = {.environment = {{"LOCPATH", folder_.path().string()},
                                                   {"LC_ALL", "de_DE.UTF-8"},
                                                   {"ASAN_OPTIONS", "detect_leaks=0"}}};
    EXPECT_EQ(run({"import", "walk.csv", "-o", "walk.h5"}, german).exit_code, 3)
        << "a decimal comma was taken for a number";
    write_file(folder_ / "walk.csv", "t;X\n0.5;1\n1.5;2.25\n2.5;3\n");
    ASSERT_EQ(run({"import", "walk.csv", "-o", "walk.h5", "--rate", "2.5", "--time", ""}, german)
                  .exit_code,
              0);
    EXPECT_THAT(run({"tree", "walk.h5", "--attributes"}, german).output,
                HasSubstr("SampleRate = 2.5\n"));
}

TEST_F(Import, RefusesWhatCannotBeAndWritesNothing) {
    write_file(folder_ / "walk.csv", "t,X,note\n0,1,left\n1,2,right\n0.5,3,right\n");
    const auto code = [&](Program::Words more) {
        more.insert(more.begin(), {"import", "walk.csv", "-o", "walk.h5"});
        const ProgramResult result = run(more);
        EXPECT_THAT(result.errors, StartsWith("error: "));
        return result.exit_code;
    };
    EXPECT_EQ(code({}), 3) << "time goes back";
    EXPECT_EQ(code({"--rate", "0"}), 2);
    EXPECT_EQ(code({"--rate", "fast"}), 2);
    EXPECT_EQ(code({"--rate", "10", "--time", "t"}), 2);
    EXPECT_EQ(code({"--rate", "10"}), 3) << "beside a rate, too";
    EXPECT_EQ(code({"--rate", "10", "--time", "", "--set", "A=Z"}), 2);
    EXPECT_EQ(code({"--rate", "10", "--time", "", "--set", "A"}), 2);
    EXPECT_EQ(code({"--rate", "10", "--time", "", "--set", "A=note"}), 3);
    EXPECT_EQ(run({"import", "missing.csv", "-o", "walk.h5"}).exit_code, 3);
    EXPECT_EQ(run({"import", "walk.csv", "-o", "walk.csv", "--rate", "10"}).exit_code, 2);
    EXPECT_EQ(run({"import", "walk.csv"}).exit_code, 2);
    EXPECT_THAT(folder_.names(), ElementsAre("walk.csv"));
}

TEST_F(Import, ReplacesAnExistingFileOnlyWhenForced) {
    write_file(folder_ / "walk.h5", "precious");
    write_file(folder_ / "walk.csv", "t,X\n0,1\n1,2\n");
    EXPECT_EQ(run({"import", "walk.csv", "-o", "walk.h5"}).exit_code, 5);
    EXPECT_EQ(read_file(folder_ / "walk.h5"), "precious");
    EXPECT_EQ(run({"import", "walk.csv", "-o", "walk.h5", "-n", "--force"}).exit_code, 0);
    EXPECT_EQ(read_file(folder_ / "walk.h5"), "precious");
    EXPECT_EQ(run({"import", "walk.csv", "-o", "walk.h5", "--force"}).exit_code, 0);
    EXPECT_NE(read_file(folder_ / "walk.h5"), "precious");
}

} // namespace
} // namespace talvora::host
