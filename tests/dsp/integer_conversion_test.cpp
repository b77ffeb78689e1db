#include "dsp/integer_conversion.h"
#include "tests/support/special_values.h"

#include <gtest/gtest.h>

#include <limits>

namespace talvora::dsp {
namespace {

constexpr std::int64_t SMALLEST = std::numeric_limits<std::int64_t>::min();
constexpr std::uint64_t LARGEST = std::numeric_limits<std::uint64_t>::max();

TEST(ToInt64, TruncatesTowardsZero) {
    EXPECT_EQ(to_int64(2.9), 2);
    EXPECT_EQ(to_int64(-2.9), -2);
    EXPECT_EQ(to_int64(-0.0), 0);
}

TEST(ToInt64, KeepsTheOutermostValuesThatFit) {
    EXPECT_EQ(to_int64(9223372036854774784.0), 9223372036854774784); // the double below 2^63
    EXPECT_EQ(to_int64(-9223372036854775808.0), SMALLEST);
}

TEST(ToInt64, MakesTheSmallestIntegerOfWhatDoesNotFit) {
    for (const double value : {NaN_DOUBLE, INF_DOUBLE, -INF_DOUBLE, 0x1p63, -0x1.8p63}) {
        EXPECT_EQ(to_int64(value), SMALLEST) << value;
    }
}

TEST(ToUint64, TruncatesTowardsZero) {
    EXPECT_EQ(to_uint64(1.999), 1U);
    EXPECT_EQ(to_uint64(-0.999), 0U);
    EXPECT_EQ(to_uint64(18446744073709549568.0), 18446744073709549568U); // below 2^64
}

TEST(ToUint64, MakesTheLargestIntegerOfWhatDoesNotFit) {
    for (const double value : {NaN_DOUBLE, INF_DOUBLE, -INF_DOUBLE, -1.0, 0x1p64}) {
        EXPECT_EQ(to_uint64(value), LARGEST) << value;
    }
}

} // namespace
} // namespace talvora::dsp
