#include "host/tables/number_table.h"
#include "host/text/failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNan;
using Texts = std::vector<std::string>;

std::string name_failure_of(const Texts& names) {
    try {
        make_table(names, "walk");
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.code(), ExitCode::Input);
        return failure.what();
    }
    return "none";
}

TEST(NumberTable, BeginsWithNamesAndNoRows) {
    const NumberTable table = make_table(Texts{"Time (s)", "1"}, "walk");
    ASSERT_EQ(table.columns.size(), 2U);
    EXPECT_EQ(table.columns[1].name, "1");
    EXPECT_THAT(table.columns[1].values, IsEmpty());
    EXPECT_EQ(table.row_count, 0U);
}

TEST(NumberTable, RefusesNamesThatTellNothing) {
    EXPECT_EQ(name_failure_of({"t", "", "x"}), "walk: column 2 of 3 has no name");
    EXPECT_EQ(name_failure_of({"t", "x", "t"}), "walk: two columns named 't'");
}

TEST(NumberTable, RefusesARowOfSamplesForNames) {
    for (const Texts& row : {Texts{"1", "+2.5"},
                             {"nan", "2.5"},
                             {"0", ""},
                             {"", "1"},
                             {"1", "-"},
                             {"0", "NaN", "n/a"},
                             {"0,5", "NA"},
                             {"2026-01-31T10:00:00Z", "7"}}) {
        EXPECT_EQ(name_failure_of(row), "walk: the first row holds numbers, no column names");
    }
    EXPECT_EQ(make_table(Texts{"nan", "missing"}, "walk").columns[0].name, "nan");
}

TEST(NumberTable, CountsCellsWithoutASample) {
    NumberTable table = make_table(Texts{"t", "x"}, "walk");
    add_row(table, Texts{"0", "5"}, "walk");
    add_row(table, Texts{"1", "n/a"}, "walk");
    add_row(table, Texts{"2"}, "walk");
    EXPECT_EQ(table.row_count, 3U);
    EXPECT_THAT(table.columns[0].values, ElementsAre(0, 1, 2));
    EXPECT_THAT(table.columns[1].values, ElementsAre(5, IsNan(), IsNan()));
    EXPECT_EQ(table.columns[1].missing_count, 2U);
    EXPECT_EQ(table.columns[1].first_missing_row, 3U);
    EXPECT_EQ(table.columns[1].first_missing_text, "n/a");
}

TEST(NumberTable, HoldsNumbersInAColumnWithOne) {
    NumberTable table = make_table(Texts{"t", "note"}, "walk");
    EXPECT_FALSE(table.columns[0].holds_numbers());
    add_row(table, Texts{"0", "left"}, "walk");
    EXPECT_TRUE(table.columns[0].holds_numbers());
    EXPECT_FALSE(table.columns[1].holds_numbers());
}

TEST(NumberTable, RefusesARowLongerThanItsNames) {
    NumberTable table = make_table(Texts{"t", "x"}, "walk");
    EXPECT_THROW(add_row(table, Texts{"0", "1", ""}, "walk"), Failure);
}

} // namespace
} // namespace talvora::host
