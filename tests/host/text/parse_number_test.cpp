#include "host/text/parse_number.h"
#include "tests/host/comma_locale.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace talvora::host {
namespace {

TEST(ParseNumber, ReadsIntegersUpToTheirLimits) {
    EXPECT_EQ(parse_number<std::int64_t>("0"), 0);
    EXPECT_EQ(parse_number<std::int64_t>("-007"), -7);
    EXPECT_EQ(parse_number<std::int64_t>("9223372036854775807"), INT64_MAX);
    EXPECT_EQ(parse_number<std::int64_t>("-9223372036854775808"), INT64_MIN);
    EXPECT_EQ(parse_number<std::int64_t>("9223372036854775808"), std::nullopt);
    EXPECT_EQ(parse_number<std::int64_t>("-9223372036854775809"), std::nullopt);
    EXPECT_EQ(parse_number<std::uint64_t>("-1"), std::nullopt);
}

TEST(ParseNumber, ReadsFloatsUpToTheirLimits) {
    EXPECT_EQ(parse_number<double>("-2.5e-1"), -0.25);
    EXPECT_EQ(parse_number<double>(".5"), 0.5);
    EXPECT_EQ(parse_number<double>("1.7976931348623157e308"), 0x1.fffffffffffffp1023);
    EXPECT_EQ(parse_number<double>("5e-324"), 0x1p-1074);
    EXPECT_EQ(parse_number<double>("1e309"), std::nullopt);
    EXPECT_EQ(parse_number<double>("1e-400"), std::nullopt);
    EXPECT_EQ(parse_number<float>("1e39"), std::nullopt);
    EXPECT_EQ(parse_number<double>("-inf"), -std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(parse_number<double>("nan").value()));
    EXPECT_TRUE(std::signbit(parse_number<double>("-0").value()));
}

// 1 + 2^-24 lies halfway between two floats, and a little more has to go up; through a double
// it would be rounded twice, down in the end.
TEST(ParseNumber, RoundsFloatsOnce) {
    EXPECT_EQ(parse_number<float>("1.00000005960464477539062500001"), 1 + 0x1p-23F);
}

TEST(ParseNumber, ReadsNothingBesideANumber) {
    for (const char* text : {"", " ", "1 ", " 1", "+1", "--1", "1,5", "1.5", "0x10", "1e3", "1_000",
                             "one", "\xEF\xBC\x91"}) {
        EXPECT_EQ(parse_number<int>(text), std::nullopt) << text;
    }
    for (const char* text : {"", ".", "-", "e5", "1.5 ", "\n1.5", "+1.5", "1,5", "1.5.", "0x1p3",
                             "1e", "1.5f", "nan?"}) {
        EXPECT_EQ(parse_number<double>(text), std::nullopt) << text;
    }
    EXPECT_EQ(parse_number<int>(std::string_view("1\0", 2)), std::nullopt);
}

TEST(ParseNumber, DoesNotDependOnTheLocale) {
    const CommaLocale locale;
    EXPECT_EQ(parse_number<double>("1234.5"), 1234.5);
    EXPECT_EQ(parse_number<double>("1234,5"), std::nullopt);
    EXPECT_EQ(parse_number<int>("1.234"), std::nullopt);
}

} // namespace
} // namespace talvora::host
