#include "host/tables/csv_layout.h"
#include "host/text/failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvora::host {
namespace {

using testing::HasSubstr;

CsvLayout layout_of(std::string_view text, const CsvChoice& choice = {}) {
    return find_layout(text, choice, "walk.csv");
}

Failure layout_failure_of(std::string_view text, const CsvChoice& choice = {}) {
    try {
        layout_of(text, choice);
    } catch (const Failure& failure) {
        return failure;
    }
    return {ExitCode::Done, "none"};
}

TEST(FindLayout, FindsTheDelimiterInTheRowOfNames) {
    EXPECT_EQ(layout_of("t;x\n1;2\n").delimiter, ';');
    EXPECT_EQ(layout_of("t\tx\n1\t2\n").delimiter, '\t');
    EXPECT_EQ(layout_of("\"a;b;c\",d\n1,2\n").delimiter, ',');
    EXPECT_EQ(layout_of("x\n1\n").delimiter, ',');
    EXPECT_EQ(layout_of("t;x\n0,5;1,5\n1,5;2,5\n2,5;3,5\n").delimiter, ';');
    EXPECT_EQ(layout_of("sep=;\nt;x\n1;2\n").delimiter, ';');
    EXPECT_EQ(layout_of("sep=;\nt;x\n1;2\n").names_row, 2U);
}

// Each line below has as many commas as that of the names.
TEST(FindLayout, TakesCommasInNamesAndNumbersForNoDelimiters) {
    EXPECT_EQ(layout_of("Force, left;Force, right\n1,5;2,5\n1,75;2,25\n").delimiter, ';');
    EXPECT_EQ(layout_of("t, s\ta, x\n0,5\t1,5\n1,0\t2,5\n").delimiter, '\t');
    EXPECT_EQ(layout_of("t, s;a, x;Note\n0,5;1,5;ok, so\n1,0;2,5;\n").delimiter, ';');
    EXPECT_EQ(layout_of("a;b,c;d,e;f\n1,5,2\n2,5,3\n").delimiter, ',');
    EXPECT_EQ(layout_of("a;b,c\n1.5,2.5\n2.5,3.5\n").delimiter, ',');
    const CsvLayout named =
        find_layout("x\nForce, left;Force, right\n1,5;2,5\n", {.names_row = 2}, "walk.csv");
    EXPECT_EQ(named.delimiter, ';');
}

TEST(FindLayout, LeavesOutWhatStandsAboveTheTable) {
    const std::string_view text = "# Recorder 7\r\nSubject: 12\r\n\r\nt;X;Y\r\n0;1;2\r\n1;2;3\r\n";
    const CsvLayout layout = layout_of(text);
    EXPECT_EQ(layout.names_row, 4U);
    EXPECT_EQ(layout.delimiter, ';');
    EXPECT_EQ(text.substr(layout.begin, 5), "t;X;Y");
    EXPECT_EQ(layout_of("Device,IMU-7\nRate,100\nt,X,Y\n0,1,2\n1,2,3\n2,3,4\n").names_row, 3U);
    EXPECT_EQ(layout_of("Tube 5\" wide\nt,X,Y\n0,1,2\n").names_row, 2U);
}

TEST(FindLayout, TakesQuotedLineEndsForNoRows) {
    EXPECT_EQ(layout_of("t,\"two\nlines, and\"\n0,1\n").names_row, 1U);
    EXPECT_EQ(layout_of("t,\"say \"\"x\ny,z\"\"\"\n0,1\n").names_row, 1U);
    EXPECT_EQ(layout_of("\"a\nb\"\nt,X\n0,1\n").names_row, 2U);
}

TEST(FindLayout, TakesEmptyQuotesAtTheEndOfARowForACell) {
    const CsvLayout layout = layout_of(R"("t";"X";"L"
"0,0";"0,04";""
"0,01";"1,12";""
"0,02";"";"-0,28"
)");
    EXPECT_EQ(layout.delimiter, ';');
    EXPECT_EQ(layout.names_row, 1U);
}

TEST(FindLayout, KeepsTheFirstRowOfRowsOfOtherWidths) {
    EXPECT_EQ(layout_of("t,X\n0,1,2\n1,2,3\n").names_row, 1U);
    EXPECT_EQ(layout_of("t,X,Y,Z\n0,1\n1,2\n").names_row, 1U);
    EXPECT_EQ(layout_of("t,X\n0,1,\n1,2,\n").names_row, 1U);
    EXPECT_EQ(layout_of("").names_row, 1U);
}

TEST(FindLayout, KnowsARowOfUnitsByTheUnitOfTime) {
    EXPECT_TRUE(layout_of("Time;X;Y\ns;deg/s;g\n0;1;2\n").has_units_row);
    EXPECT_TRUE(layout_of("Time,X\n[ms],(g)\n0,1\n").has_units_row);
    EXPECT_FALSE(layout_of("Time,X\n0,1\n1,2\n").has_units_row);
    EXPECT_FALSE(layout_of("X,Y\nn/a,NaN\n1,2\n").has_units_row);
}

TEST(FindLayout, RefusesARowThatCouldBeUnitsOrNames) {
    const Failure failure = layout_failure_of("X,Y\nleft,right\n1,2\n");
    EXPECT_EQ(failure.code(), ExitCode::Input);
    EXPECT_STREQ(failure.what(),
                 "walk.csv: row 2 holds no number ('left,right'): units or names of "
                 "columns, as row 1 ('X,Y')");
    EXPECT_THAT(failure.hints().front(), HasSubstr("--units-row"));
    EXPECT_TRUE(layout_of("X,Y\nleft,right\n1,2\n", {.names_row = {}, .has_units_row = true})
                    .has_units_row);
    EXPECT_FALSE(layout_of("X,Y\nleft,right\n1,2\n", {.names_row = 1}).has_units_row);
    EXPECT_EQ(layout_of("X,Y\nleft,right\n1,2\n", {.names_row = 2}).names_row, 2U);
}

TEST(FindLayout, RefusesNumbersAsUnits) {
    const CsvChoice with_units{.names_row = {}, .has_units_row = true};
    const auto refusal_of = [&](std::string_view text) {
        try {
            layout_of(text, with_units);
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code(), ExitCode::Input);
            return std::string(failure.what());
        }
        return std::string();
    };
    EXPECT_EQ(refusal_of("X,Y\n0.5,2\n1,2\n"),
              "walk.csv: --units-row: row 2 holds the number '0.5' and no units ('0.5,2')");
    EXPECT_THAT(refusal_of("X,Y\n1,1\n1,2\n"), HasSubstr("row 2 holds the number '1'"));
    EXPECT_THAT(refusal_of("\nX;Y\n0,5;left\n1;2\n"), HasSubstr("row 3 holds the number '0,5'"));
    EXPECT_EQ(refusal_of("X,Y\nm,1\n1,2\n"), ""); // without a unit
    EXPECT_EQ(refusal_of("X,Y\nm,\n1,2\n"), "");
}

TEST(FindLayout, RefusesNamesBelowRowsThatAreAsWide) {
    const Failure failure = layout_failure_of("Device,IMU-7\nRate,100\nt,X\n0,1\n1,2\n");
    EXPECT_EQ(failure.code(), ExitCode::Input);
    EXPECT_THAT(failure.what(), HasSubstr("walk.csv: row 3 holds no number ('t,X')"));
    EXPECT_EQ(layout_of("Device,IMU-7\nRate,100\nt,X\n0,1\n1,2\n", {.names_row = 3}).begin,
              std::string_view("Device,IMU-7\nRate,100\n").size());
}

TEST(FindLayout, TakesWordsBelowSamplesForMissingOnes) {
    EXPECT_EQ(layout_of("X\n1\nOL\n2\n").names_row, 1U);
    EXPECT_EQ(layout_of("t,X\n0,1\nOL,OL\n2,3\n").names_row, 1U);
}

TEST(FindLayout, RefusesARowOfNamesThatIsNotThere) {
    const Failure failure = layout_failure_of("t,X\n\n0,1\n", {.names_row = 2});
    EXPECT_EQ(failure.code(), ExitCode::Usage);
    EXPECT_THAT(failure.what(), HasSubstr("walk.csv: --header 2: no row of names there"));
}

} // namespace
} // namespace talvora::host
