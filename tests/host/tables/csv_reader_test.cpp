#include "host/tables/csv_reader.h"
#include "host/text/failure.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <string>
#include <utility>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsNan;

std::string csv_failure_of(std::string_view text) {
    try {
        parse_csv(text, "walk.csv");
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.code(), ExitCode::Input);
        return failure.what();
    }
    return "none";
}

TEST(ParseCsv, ReadsNamesAndNumbers) {
    const NumberTable table = parse_csv("Time (s),X\n0,1.5\n0.01,-2e3\n", "walk.csv");
    ASSERT_EQ(table.columns.size(), 2U);
    EXPECT_EQ(table.row_count, 2U);
    EXPECT_EQ(table.columns[0].name, "Time (s)");
    EXPECT_THAT(table.columns[0].values, ElementsAre(0, 0.01));
    EXPECT_THAT(table.columns[1].values, ElementsAre(1.5, -2000));
    EXPECT_EQ(table.columns[1].missing_count, 0U);
}

TEST(ParseCsv, TakesAByteOrderMarkEitherLineEndAndBlankLines) {
    const NumberTable table = parse_csv("\xEF\xBB\xBFt,x\r\n1,2\r\n\r\n3,4", "walk.csv");
    EXPECT_EQ(table.columns[0].name, "t");
    EXPECT_THAT(table.columns[1].values, ElementsAre(2, 4));
}

TEST(ParseCsv, TakesABlankLineOfATableWithOneColumnAsMissing) {
    for (const char* text : {"X\n1\n\n\n4\n\n", "X\r\n1\r\n\r\n\r\n4\r\n\r\n", "\nX\n1\n \n\n4"}) {
        const NumberTable table = parse_csv(text, "t");
        ASSERT_EQ(table.columns.size(), 1U) << text;
        EXPECT_THAT(table.columns[0].values, ElementsAre(1, IsNan(), IsNan(), 4)) << text;
    }
    const NumberTable table = parse_csv("X,Y\n1,2\n\n3,4\n\n", "t");
    EXPECT_EQ(table.row_count, 2U);
    EXPECT_EQ(table.first_blank_row, 3U);
}

TEST(ParseCsv, FindsTheDelimiterInTheFirstRow) {
    EXPECT_THAT(parse_csv("t;x\n1;2\n", "").columns[1].values, ElementsAre(2));
    EXPECT_THAT(parse_csv("t\tx\n1\t2\n", "").columns[1].values, ElementsAre(2));
}

TEST(ParseCsv, FindsTheDelimiterOutsideQuotes) {
    const NumberTable table = parse_csv("\"a;b;c\",d\n1,2\n", "walk.csv");
    ASSERT_EQ(table.columns.size(), 2U);
    EXPECT_EQ(table.columns[0].name, "a;b;c");
}

// Halfway between 1 + 2^-23 and 1 + 2^-22 lies 1.000000178813934326171875; a double cannot
// tell the texts beside it from it.
TEST(ParseCsv, ReadsValuesThatRoundToTheFloatNearestToTheText) {
    const NumberTable table =
        parse_csv("X\n1.00000017881393432617187499\n1.000000178813934326171875\n"
                  "1.00000017881393432617187501\n",
                  "walk.csv");
    const std::vector<double>& values = table.columns[0].values;
    EXPECT_EQ(static_cast<float>(values[0]), 1 + 0x1p-23F);
    EXPECT_EQ(static_cast<float>(values[1]), 1 + 0x1p-22F);
    EXPECT_EQ(static_cast<float>(values[2]), 1 + 0x1p-22F);
    EXPECT_EQ(values[1], 1.000000178813934326171875);
}

TEST(ParseCsv, KeepsWideNumbersHalfwayBetweenTwoFloats) {
    const NumberTable table = parse_csv("Time (s)\n1700000064\n1700000192\n", "walk.csv");
    EXPECT_THAT(table.columns[0].values, ElementsAre(1700000064.0, 1700000192.0));
}

// The greatest float is 2^128 - 2^104; numbers below 2^128 - 2^103 = 3.40282356779...e38
// round to it.
TEST(ParseCsv, ReadsTheGreatestFloatFromItsShortestText) {
    const NumberTable table =
        parse_csv("X\n3.4028235e38\n-3.4028235e+38\n3.4028235677e38\n3.4028235678e38\n", "");
    EXPECT_THAT(table.columns[0].values,
                ElementsAre(0x1.fffffep127, -0x1.fffffep127, 0x1.fffffep127, IsNan()));
}

TEST(ParseCsv, KeepsDelimitersAndLineEndsInsideQuotes) {
    const NumberTable table =
        parse_csv("\"a, b\",\"say \"\"x\"\"\",\"two\nlines\"\n1,\"2\",3\n", "");
    ASSERT_EQ(table.columns.size(), 3U);
    EXPECT_EQ(table.columns[0].name, "a, b");
    EXPECT_EQ(table.columns[1].name, "say \"x\"");
    EXPECT_EQ(table.columns[2].name, "two\nlines");
    EXPECT_THAT(table.columns[1].values, ElementsAre(2));
}

TEST(ParseCsv, CountsCellsWithoutANumberPerColumn) {
    const NumberTable table =
        parse_csv("t,x\n1,\n2,n/a\n3,7\n4\n5,1e39\n6,nan\n7,0x10\n8,+4\n", "");
    const NumberColumn& column = table.columns[1];
    EXPECT_THAT(column.values,
                ElementsAre(IsNan(), IsNan(), 7, IsNan(), IsNan(), IsNan(), IsNan(), 4));
    EXPECT_EQ(column.missing_count, 6U);
    EXPECT_EQ(column.first_missing_row, 2U);
    EXPECT_EQ(column.first_missing_text, "");
    EXPECT_TRUE(column.holds_numbers());
}

TEST(ParseCsv, TellsAColumnWithoutAnyNumber) {
    EXPECT_FALSE(parse_csv("t,note\n1,left\n2,\n", "").columns[1].holds_numbers());
}

TEST(ParseCsv, TakesADelimiterAtTheEndOfARow) {
    EXPECT_THAT(parse_csv("t,x\n1,2,\n", "").columns[1].values, ElementsAre(2));
}

TEST(ParseCsv, RefusesWhatIsNoTable) {
    EXPECT_EQ(csv_failure_of(""), "walk.csv: empty");
    EXPECT_EQ(csv_failure_of("t,x\n"), "walk.csv: no row below the names");
    EXPECT_EQ(csv_failure_of("1,2\n3,4\n"),
              "walk.csv: the first row holds numbers, no column names");
    EXPECT_EQ(csv_failure_of("nan,2.5\n3,4\n"),
              "walk.csv: the first row holds numbers, no column names");
    EXPECT_EQ(csv_failure_of("0,\n1,5\n2,6\n"),
              "walk.csv: the first row holds numbers, no column names");
    EXPECT_EQ(csv_failure_of("t,t\n1,2\n"), "walk.csv: two columns named 't'");
    EXPECT_EQ(csv_failure_of("t,,x\n1,2,3\n"), "walk.csv: column 2 of 3 has no name");
    EXPECT_EQ(csv_failure_of("t,x\n1,2,3\n"), "walk.csv: row 2 has 3 fields, the row of names 2");
    EXPECT_EQ(csv_failure_of("t,x\n1,\"2\n"), "walk.csv: the text ends inside a quoted field");
    EXPECT_THAT(csv_failure_of("t,x\n1,\"2\"3\n"), HasSubstr("a double quote inside a field"));
    EXPECT_EQ(csv_failure_of(std::string("\xFF\xFEt\0", 4)),
              "walk.csv: UTF-16 text, UTF-8 is read");
}

TEST(ParseCsv, CountsRowsAsTheyStandInTheFile) {
    const NumberTable table = parse_csv("Log of a day\n\nt,X\n0,1\n1,x\n", "walk.csv");
    EXPECT_EQ(table.first_row, 4U);
    EXPECT_EQ(table.columns[1].first_missing_row, 5U);
    EXPECT_THAT(table.notes,
                ElementsAre("row 3 holds the names of the columns, what is above it is "
                            "left out"));
}

TEST(ParseCsv, KeepsARowOfUnits) {
    const NumberTable table = parse_csv("Time;X;Y\nms;[deg/s];\n0;1;2\n", "walk.csv");
    EXPECT_EQ(table.columns[0].unit, "ms");
    EXPECT_EQ(table.columns[1].unit, "deg/s");
    EXPECT_EQ(table.columns[2].unit, "");
    EXPECT_EQ(table.first_row, 3U);
    EXPECT_EQ(table.row_count, 1U);
    EXPECT_EQ(csv_failure_of("Time,X (g)\ns,N\n0,1\n"),
              "walk.csv: column 'X (g)' has the unit 'N' in the row of units");
}

TEST(ParseCsv, ReadsDecimalCommasThatCanBeNothingElse) {
    const NumberTable table = parse_csv("t;X\n0,5;-1,25e2\n1,5;3\n", "walk.csv");
    EXPECT_THAT(table.columns[0].values, ElementsAre(0.5, 1.5));
    EXPECT_THAT(table.columns[1].values, ElementsAre(-125, 3));
    EXPECT_THAT(table.notes, ElementsAre("numbers have a decimal comma"));
    EXPECT_THAT(parse_csv("t\tX\n1,500\t2\n2,25\t3\n", "").columns[0].values,
                ElementsAre(1.5, 2.25));
    EXPECT_THAT(parse_csv("t;X\n0,500;2\n", "").columns[0].values, ElementsAre(0.5));
}

TEST(ParseCsv, RefusesSeparatorsBetweenThousands) {
    const std::pair<const char*, const char*> NUMBERS[] = {{"1,234.5", "1234.5"},
                                                           {"1.234,5", "1234.5"},
                                                           {"-12,345,678", "-12345678"},
                                                           {"1.234.567", "1234567"},
                                                           {"1 234.25", "1234.25"},
                                                           {"+1'234", "1234"},
                                                           {"1\u00a0234,5", "1234.5"},
                                                           {"1\u202f234", "1234"},
                                                           {"1\u2019234\u2019567", "1234567"},
                                                           {"123,456,789.01", "123456789.01"}};
    for (const auto& [number, allowed] : NUMBERS) {
        EXPECT_EQ(csv_failure_of(fmt::format("t;X\n0;1\n1;\"{}\"\n", number)),
                  fmt::format("walk.csv: row 3, column 'X': '{}' has separators between thousands "
                              "(allowed: {})",
                              number, allowed));
    }
}

TEST(ParseCsv, TakesOtherTextsForNoNumbers) {
    for (const char* text : {"12 3456", "1,2345.6", "0.123,456", "1234,567.8", "1,234,56",
                             "1,234.5.6", "2026 01 01", "1 234 m", ",234.5", "1,234 567"}) {
        const NumberTable table = parse_csv(fmt::format("t;X\n0;1\n1;\"{}\"\n", text), "walk.csv");
        EXPECT_EQ(table.columns[1].missing_count, 1U) << text;
    }
}

TEST(ParseCsv, RefusesCommasThatCouldBeSomethingElse) {
    EXPECT_EQ(csv_failure_of("t;X\n0;1\n1;1,500\n"),
              "walk.csv: row 3, column 'X': '1,500' could have a decimal comma, or one between "
              "thousands");
    EXPECT_EQ(
        csv_failure_of("t,X\n0,\"1,5\"\n"),
        "walk.csv: row 2, column 'X': '1,5' could have a decimal comma, or one that parts two "
        "numbers");
    EXPECT_EQ(
        csv_failure_of("t;X\n0,5;1\n1.5;2\n"),
        "walk.csv: row 3, column 't': '1.5' has a decimal point, other numbers have a decimal "
        "comma");
}

TEST(ParseCsv, ReadsDecimalCommasWhereToldSo) {
    const CsvChoice choice{.decimal_comma = true, .names_row = {}};
    EXPECT_THAT(parse_csv("t;X\n0;1,500\n", "", choice).columns[1].values, ElementsAre(1.5));
    EXPECT_THAT(parse_csv("t,X\n0,\"1,5\"\n", "", choice).columns[1].values, ElementsAre(1.5));
    EXPECT_THROW(parse_csv("t;X\n0;1.5\n", "", choice), Failure);
}

TEST(ParseCsv, KeepsDatesBesideNumbers) {
    const NumberTable table =
        parse_csv("when,X\n1970-01-01T00:00:01Z,1\n1970-01-01T00:00:02.5Z,2\n", "walk.csv");
    EXPECT_TRUE(table.columns[0].holds_dates());
    EXPECT_TRUE(table.columns[0].dates_have_zone);
    EXPECT_FALSE(table.columns[0].holds_numbers());
    EXPECT_THAT(table.columns[0].dates, ElementsAre(1, 2.5));
    EXPECT_FALSE(table.columns[1].holds_dates());
    EXPECT_FALSE(parse_csv("when\n1970-01-01T00:00:01Z\n1970-01-01T00:00:02\n", "")
                     .columns[0]
                     .holds_dates());
}

TEST(ReadCsv, RefusesAMissingFileAndAFolder) {
    EXPECT_THROW(read_csv("no such file.csv"), Failure);
    EXPECT_THROW(read_csv("."), Failure);
}

// The memory of a process opens like a file, and its first byte cannot be read.
TEST(ReadCsv, RefusesAFileThatCannotBeReadToItsEnd) {
    EXPECT_THAT([] { read_csv("/proc/self/mem"); },
                testing::ThrowsMessage<Failure>(
                    "/proc/self/mem: cannot be read to its end: Input/output error"));
}

TEST(SplitCsvRow, TakesQuotedNames) {
    EXPECT_THAT(split_csv_row("X,\"Y, left\",Z", ','), ElementsAre("X", "Y, left", "Z"));
    EXPECT_THAT(split_csv_row("", ','), IsEmpty());
}

} // namespace
} // namespace talvora::host
