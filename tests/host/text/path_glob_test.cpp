#include "host/text/path_glob.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvora::host {
namespace {

TEST(MatchesPath, KeepsAStarInsideOneName) {
    EXPECT_TRUE(matches_path("Imu/*", "Imu/Rate"));
    EXPECT_TRUE(matches_path("*/R?te", "Imu/Rate"));
    EXPECT_TRUE(matches_path("I*u/*a*e", "Imu/Rate"));
    EXPECT_FALSE(matches_path("*", "Imu/Rate"));
    EXPECT_FALSE(matches_path("Imu/*", "Imu"));
    EXPECT_FALSE(matches_path("Imu/*x*", "Imu/Rate"));
}

TEST(MatchesPath, LetsTwoStarsStandForAnyNumberOfNames) {
    EXPECT_TRUE(matches_path("**", "A/B/C"));
    EXPECT_TRUE(matches_path("**/C", "C"));
    EXPECT_TRUE(matches_path("A/**/C", "A/B/D/C"));
    EXPECT_TRUE(matches_path("A/**", "A"));
    EXPECT_TRUE(matches_path("**/B/**/D", "A/B/C/B/D"));
    EXPECT_FALSE(matches_path("A/**/C", "A/B/D"));
    EXPECT_FALSE(matches_path("**/B/C", "A/B/D/C"));
}

TEST(MatchesPath, TakesSetsOfLetters) {
    EXPECT_TRUE(matches_path("S[0-9]/X", "S3/X"));
    EXPECT_TRUE(matches_path("S[ab3]", "S3"));
    EXPECT_TRUE(matches_path("S[a-]", "S-"));
    EXPECT_TRUE(matches_path("S[]x]", "S]"));
    EXPECT_TRUE(matches_path("S[!a]", "Sb"));
    EXPECT_FALSE(matches_path("S[!0-9]/X", "S3/X"));
    EXPECT_FALSE(matches_path("S[0-9]", "S10"));
}

TEST(MatchesPath, LetsABracketWithoutItsEndStandForItself) {
    EXPECT_TRUE(matches_path("S[1", "S[1"));
    EXPECT_TRUE(matches_path("S[]", "S[]"));
    EXPECT_TRUE(matches_path("S[!]", "S[!]"));
    EXPECT_FALSE(matches_path("S[1", "S1"));
}

TEST(MatchesPath, NamesAWildcardInBrackets) {
    EXPECT_TRUE(matches_path("a[*]", "a*"));
    EXPECT_FALSE(matches_path("a[*]", "ab"));
    EXPECT_TRUE(matches_path("a[[]1]", "a[1]"));
}

TEST(MatchesPath, IgnoresALeadingSlash) {
    EXPECT_TRUE(matches_path("/Imu/Rate", "Imu/Rate"));
}

TEST(MatchesPath, ComparesNamesWithDotsAndUmlautsAsTheyAre) {
    EXPECT_TRUE(matches_path("*", ".hidden"));
    EXPECT_TRUE(matches_path("Fuß/Höhe", "Fuß/Höhe"));
    EXPECT_FALSE(matches_path("Imu", "imu"));
}

TEST(MatchesPath, TakesALetterOfSeveralBytesAsOne) {
    EXPECT_TRUE(matches_path("Fu?", "Fuß"));
    EXPECT_TRUE(matches_path("H[äöü]he", "Höhe"));
    EXPECT_TRUE(matches_path("[α-ω]", "β"));
    EXPECT_TRUE(matches_path("?", "😀"));
    EXPECT_FALSE(matches_path("Fu??", "Fuß"));
    EXPECT_FALSE(matches_path("H[äü]he", "Höhe"));
}

TEST(MatchesPath, TakesEachByteThatIsNoLetterAsOne) {
    EXPECT_TRUE(matches_path("a?b", "a\xFF"
                                    "b"));
    EXPECT_TRUE(matches_path("a??", "a\xC3\xC3"));
    EXPECT_TRUE(matches_path("a\xFF", "a\xFF"));
    EXPECT_FALSE(matches_path("a\xFF", "a\xFE"));
}

// Longer than needed, a surrogate, beyond U+10FFFF.
TEST(MatchesPath, TakesNoLetterFromBytesThatAreNoUtf8) {
    EXPECT_TRUE(matches_path("???", "\xE0\x80\xAF"));
    EXPECT_TRUE(matches_path("???", "\xED\xA0\x80"));
    EXPECT_TRUE(matches_path("????", "\xF4\x90\x80\x80"));
    EXPECT_FALSE(matches_path("?", "\xE0\x80\xAF"));
    EXPECT_FALSE(matches_path("[-/]", "\xE0\x80\xAF"));
    EXPECT_FALSE(matches_path("?", "\xED\xA0\x80"));
    EXPECT_FALSE(matches_path("\x80", "\xED\xB2\x80"));
    EXPECT_FALSE(matches_path("?", "\xF4\x90\x80\x80"));
}

TEST(MatchesPath, IsQuickForPatternsOfManyStars) {
    std::string stars;
    std::string names;
    for (int i = 0; i < 2000; ++i) {
        stars += "*a";
        names += "**/a/";
    }
    EXPECT_FALSE(matches_path(stars + "b", std::string(4000, 'a')));
    EXPECT_FALSE(matches_path(names + "b", std::string(4000, 'a')));
}

TEST(IsPattern, KnowsTheLettersThatStandForOthers) {
    EXPECT_TRUE(is_pattern("Imu/*"));
    EXPECT_TRUE(is_pattern("Im?"));
    EXPECT_TRUE(is_pattern("Im[u]"));
    EXPECT_FALSE(is_pattern("Imu/Rate (deg\\s) {x}!"));
}

TEST(SortNaturally, ComparesNumbersAsNumbers) {
    std::vector<std::string> names = {"a10", "a2", "b", "a", "a1b10", "a1b9", "A3"};
    sort_naturally(names);
    EXPECT_THAT(names, testing::ElementsAre("A3", "a", "a1b9", "a1b10", "a2", "a10", "b"));
}

TEST(SortNaturally, TakesNumbersOfAnyLengthAndZerosInFront) {
    std::vector<std::string> names = {
        "x100000000000000000000000", "x99999999999999999999999", "x7", "x007", "x07y", "x07"};
    sort_naturally(names);
    EXPECT_THAT(names, testing::ElementsAre("x007", "x07", "x7", "x07y", "x99999999999999999999999",
                                            "x100000000000000000000000"));
}

TEST(SplitNames, LeavesEmptyOnesOut) {
    EXPECT_THAT(split_names("/Imu//Rate/"), testing::ElementsAre("Imu", "Rate"));
    EXPECT_THAT(split_names("**"), testing::ElementsAre("**"));
    EXPECT_THAT(split_names("/"), testing::IsEmpty());
    EXPECT_THAT(split_names(""), testing::IsEmpty());
}

} // namespace
} // namespace talvora::host
