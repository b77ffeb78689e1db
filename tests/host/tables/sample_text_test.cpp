#include "host/tables/sample_text.h"
#include "tests/host/comma_locale.h"

#include <gtest/gtest.h>

#include <limits>

namespace talvora::host {
namespace {

TEST(ParseSample, ReadsNumbersAsTablesHoldThem) {
    EXPECT_EQ(parse_sample("-2e3"), -2000.0);
    EXPECT_EQ(parse_sample("+4"), 4.0);
    EXPECT_EQ(parse_sample("inf"), std::numeric_limits<double>::infinity());
    for (const char* text : {"", "n/a", "nan", "NaN", "++4", "+-4", "-+4", "--4", "+ 4", "+", "+-",
                             "+-inf", "0x10", "1,5", " 1", "1e400"}) {
        EXPECT_EQ(parse_sample(text), std::nullopt) << text;
    }
}

// 0.1 is no sum of powers of two: the double keeps more of it than a float would.
TEST(ParseSample, KeepsTheDigitsOfADouble) {
    EXPECT_EQ(parse_sample("0.1"), 0.1);
    EXPECT_EQ(parse_sample("1700000064.125"), 1700000064.125);
}

// 1 + 2^-24 lies halfway between the floats 1 and 1 + 2^-23; what is more than that by less than
// a double can hold has to come out above.
TEST(ParseSample, RoundsToTheNearestFloatInOneStep) {
    const double above = parse_sample("1.00000005960464477539062500001").value();
    EXPECT_EQ(static_cast<float>(above), 1 + 0x1p-23F);
    const double halfway = parse_sample("1.000000059604644775390625").value();
    EXPECT_EQ(static_cast<float>(halfway), 1.0F);
}

// Numbers below 2^128 - 2^103 = 3.40282356779...e38 round to the greatest float.
TEST(ParseSample, EndsWhereFloatsDo) {
    EXPECT_EQ(parse_sample("3.4028235677e38"), 0x1.fffffep127);
    EXPECT_EQ(parse_sample("3.4028235678e38"), std::nullopt);
    EXPECT_EQ(parse_sample("-1e39"), std::nullopt);
}

TEST(ParseSample, DoesNotDependOnTheLocale) {
    const CommaLocale locale;
    EXPECT_EQ(parse_sample("0.5"), 0.5);
    EXPECT_EQ(parse_sample("0,5"), std::nullopt);
}

} // namespace
} // namespace talvora::host
