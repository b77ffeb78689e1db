#include "host/path_glob.h"

#include <gtest/gtest.h>

namespace talvora::host {
namespace {

TEST(MatchesPath, KeepsAStarInsideOneName) {
    EXPECT_TRUE(matches_path("Imu/*", "Imu/Rate"));
    EXPECT_TRUE(matches_path("*/R?te", "Imu/Rate"));
    EXPECT_FALSE(matches_path("*", "Imu/Rate"));
    EXPECT_FALSE(matches_path("Imu/*", "Imu"));
}

TEST(MatchesPath, LetsTwoStarsStandForAnyNumberOfNames) {
    EXPECT_TRUE(matches_path("**", "A/B/C"));
    EXPECT_TRUE(matches_path("**/C", "C"));
    EXPECT_TRUE(matches_path("A/**/C", "A/B/D/C"));
    EXPECT_FALSE(matches_path("A/**/C", "A/B/D"));
}

TEST(MatchesPath, TakesSetsOfLetters) {
    EXPECT_TRUE(matches_path("S[0-9]/X", "S3/X"));
    EXPECT_FALSE(matches_path("S[!0-9]/X", "S3/X"));
}

TEST(MatchesPath, IgnoresALeadingSlash) {
    EXPECT_TRUE(matches_path("/Imu/Rate", "Imu/Rate"));
}

TEST(MatchesPath, ComparesNamesWithDotsAndUmlautsAsTheyAre) {
    EXPECT_TRUE(matches_path("*", ".hidden"));
    EXPECT_TRUE(matches_path("Fuß/Höhe", "Fuß/Höhe"));
    EXPECT_FALSE(matches_path("Imu", "imu"));
}

} // namespace
} // namespace talvora::host
