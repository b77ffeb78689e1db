#include "host/tree/memory_tree.h"
#include "host/tree/number_attribute.h"

#include <gtest/gtest.h>

namespace talvora::host {
namespace {

TEST(NumberAttributes, AreNumbersOfAnyType) {
    EXPECT_EQ(as_number(std::int64_t{50}), 50.0);
    EXPECT_EQ(as_number(100.003F), 100.003);
    EXPECT_EQ(as_number(100.003), 100.003);
    EXPECT_EQ(as_number(std::nullopt), std::nullopt);
    EXPECT_EQ(as_number(std::string("100")), std::nullopt);
}

TEST(NumberAttributes, MayStandInAnArrayOfOne) {
    EXPECT_EQ(as_number(IntegerArray{{50}, {1}}), 50.0);
    EXPECT_EQ(as_number(NumberArray{{100.1}, {1, 1}}), 100.1);
    EXPECT_EQ(as_number(NumberArray{{static_cast<double>(100.003F)}, {1}}), 100.003);
    EXPECT_EQ(as_number(NumberArray{{1, 2}, {2}}), std::nullopt);
    EXPECT_EQ(as_number(IntegerArray{{}, {0}}), std::nullopt);
    EXPECT_EQ(as_number(TextArray{{"1"}, {1}}), std::nullopt);
}

} // namespace
} // namespace talvora::host
