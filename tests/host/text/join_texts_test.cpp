#include "host/text/join_texts.h"

#include <gtest/gtest.h>

#include <vector>

namespace talvora::host {
namespace {

using Texts = std::vector<std::string>;

TEST(JoinTexts, PutsTheSeparatorBetweenTwo) {
    EXPECT_EQ(join_texts(Texts{}), "");
    EXPECT_EQ(join_texts(Texts{"Axis"}), "Axis");
    EXPECT_EQ(join_texts(Texts{"Axis", "Order"}), "Axis, Order");
    EXPECT_EQ(join_texts(Texts{"a", "b", "c"}, " and "), "a and b and c");
}

TEST(JoinTexts, TakesEmptyTextsForTexts) {
    EXPECT_EQ(join_texts(Texts{"", "", ""}), ", , ");
    EXPECT_EQ(join_texts(Texts{"", "a"}, ","), ",a");
}

TEST(JoinTexts, BeginsWithASourceWhereThereIsOne) {
    EXPECT_EQ(begin_with("walk.h5", "Imu is a group"), "walk.h5: Imu is a group");
    EXPECT_EQ(begin_with("", "Imu is a group"), "Imu is a group");
}

} // namespace
} // namespace talvora::host
