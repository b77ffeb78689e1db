#include "host/tables/csv_reader.h"
#include "host/tables/missing_values.h"
#include "tests/support/special_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::NanSensitiveDoubleEq;

std::optional<LikelyMissing> find(const std::vector<double>& values) {
    return find_likely_missing({.name = "X", .values = values, .first_missing_text = {}});
}

TEST(LikelyMissing, IsRepeatedAndFarFromTheOthers) {
    const auto found = find({1, -9999, 2, NaN_DOUBLE, -9999, 1.5});
    ASSERT_TRUE(found);
    EXPECT_EQ(found->number, -9999);
    EXPECT_EQ(found->count, 2U);
    EXPECT_EQ(found->least, 1);
    EXPECT_EQ(found->greatest, 2);
    EXPECT_EQ(find({999, 1, 2, 999})->number, 999);
}

TEST(LikelyMissing, IsNoNumberThatStandsOnceOrAmongOthers) {
    EXPECT_FALSE(find({1, -9999, 2}));
    EXPECT_FALSE(find({999, 998, 0, 999}));
    EXPECT_FALSE(find({-9999, -9999}));
    EXPECT_FALSE(find({NaN_DOUBLE}));
    EXPECT_FALSE(find({}));
    EXPECT_FALSE(find({1, 500, 500, 2}));
}

TEST(MissingNumbers, BecomeNaNInAllColumns) {
    const NumberTable table = parse_csv("X,Y\n1,-9999.0\n-999,3\n-9999,4\n", "walk.csv",
                                        {.names_row = {}, .missing = {-9999, -999}});
    const auto missing = NanSensitiveDoubleEq(NaN_DOUBLE);
    EXPECT_THAT(table.columns[0].values, ElementsAre(1, missing, missing));
    EXPECT_THAT(table.columns[1].values, ElementsAre(missing, 3, 4));
    EXPECT_THAT(table.notes, ElementsAre("column 'X': 2 numbers of --missing, NaN stands there",
                                         "column 'Y': 1 number of --missing, NaN stands there"));
}

} // namespace
} // namespace talvora::host
