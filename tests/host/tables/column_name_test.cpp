#include "host/tables/column_name.h"

#include <gtest/gtest.h>

namespace talvora::host {
namespace {

void expect_split(std::string_view text, std::string_view name,
                  std::optional<std::string_view> unit) {
    EXPECT_EQ(split_unit(text).name, name) << text;
    EXPECT_EQ(split_unit(text).unit, unit) << text;
}

TEST(SplitUnit, TakesBracketsOfEitherKindAtTheEnd) {
    expect_split("Gyroscope X (deg/s)", "Gyroscope X", "deg/s");
    expect_split("Gyroscope X  [deg/s]", "Gyroscope X", "deg/s");
    expect_split("t(us)", "t", "us");
}

TEST(SplitUnit, TakesBracketsWithinThem) {
    expect_split("Force [kg (m/s\u00b2)]", "Force", "kg (m/s\u00b2)");
    expect_split("Force (left) (N)", "Force (left)", "N");
}

TEST(SplitUnit, LeavesOtherNamesAsTheyAre) {
    expect_split("Force", "Force", std::nullopt);
    expect_split("", "", std::nullopt);
    expect_split("Force (N) left", "Force (N) left", std::nullopt);
    expect_split("Force N)", "Force N)", std::nullopt);
    expect_split("Force (N))", "Force (N))", std::nullopt);
}

TEST(WithoutBrackets, LeavesOutThoseAroundTheWhole) {
    EXPECT_EQ(without_brackets("[deg/s]"), "deg/s");
    EXPECT_EQ(without_brackets("(m)"), "m");
    EXPECT_EQ(without_brackets("kg (dry)"), "kg (dry)");
    EXPECT_EQ(without_brackets("m"), "m");
    EXPECT_EQ(without_brackets(""), "");
}

TEST(SplitUnit, TellsEmptyBracketsAndNames) {
    expect_split("Force ()", "Force", "");
    expect_split("(N)", "", "N");
}

} // namespace
} // namespace talvora::host
