#include "host/text/nearest_text.h"

#include <gtest/gtest.h>

#include <vector>

namespace talvora::host {

namespace {

const std::vector<std::string> KEYS{"SourceSets", "SourceGroup", "CutoffFrequency", "Order"};

TEST(NearestText, FindsATextWithASlip) {
    EXPECT_EQ(find_nearest("SourceSet", KEYS), "SourceSets");
    EXPECT_EQ(find_nearest("SuorceGroup", KEYS), "SourceGroup");
    EXPECT_EQ(find_nearest("Ordr", KEYS), "Order");
}

TEST(NearestText, IgnoresLetterCase) {
    EXPECT_EQ(find_nearest("cutofffrequency", KEYS), "CutoffFrequency");
}

TEST(NearestText, FindsATextThatHoldsTheWord) {
    EXPECT_EQ(find_nearest("frequency", KEYS), "CutoffFrequency");
    EXPECT_EQ(find_nearest("Source", KEYS), "SourceSets");
}

TEST(NearestText, FindsNothingForAShortPart) {
    EXPECT_FALSE(find_nearest("Fre", KEYS).has_value());
}

TEST(NearestText, FindsNothingFarAway) {
    EXPECT_FALSE(find_nearest("Bandform", KEYS).has_value());
    EXPECT_FALSE(find_nearest("", KEYS).has_value());
    EXPECT_FALSE(find_nearest("Order", {}).has_value());
}

TEST(NearestText, TakesTheFirstOfSeveral) {
    EXPECT_EQ(find_nearest("ab", std::vector<std::string>{"xab", "abx"}), "xab");
}

TEST(SuggestNearest, AsksOrSaysNothing) {
    EXPECT_EQ(suggest_nearest("Ordr", KEYS), "did you mean 'Order'?");
    EXPECT_EQ(suggest_nearest("Bandform", KEYS), "");
}

} // namespace

} // namespace talvora::host
