#include "host/tables/round_number.h"

#include <gtest/gtest.h>

namespace talvora::host {
namespace {

TEST(RoundestBetween, HasTheFewestDigits) {
    EXPECT_EQ(roundest_between(399.98, 400.03), 400);
    EXPECT_EQ(roundest_between(99.97, 99.99), 99.98);
    EXPECT_EQ(roundest_between(59.939, 59.941), 59.94);
    EXPECT_EQ(roundest_between(0.00249, 0.00251), 0.0025);
    EXPECT_EQ(roundest_between(3.29e-7, 3.34e-7), 3.3e-7);
    EXPECT_EQ(roundest_between(9.6, 12), 10);
}

TEST(RoundestBetween, IsNearestToTheMiddleWhereSeveralAreAsRound) {
    EXPECT_EQ(roundest_between(3.3, 8.3), 6);
    EXPECT_EQ(roundest_between(1.12, 1.49), 1.3);
}

TEST(RoundestBetween, IsTheNumberItselfWhereThereIsOneAlone) {
    EXPECT_EQ(roundest_between(1.0 / 3, 1.0 / 3), 1.0 / 3);
    EXPECT_EQ(roundest_between(100, 100), 100);
}

TEST(CountDigits, LeavesOutZerosInFrontAndBehind) {
    EXPECT_EQ(count_digits(400), 1);
    EXPECT_EQ(count_digits(0.0025), 2);
    EXPECT_EQ(count_digits(1e-300), 1);
    EXPECT_EQ(count_digits(1.25e20), 3);
    EXPECT_EQ(count_digits(59.94), 4);
}

} // namespace
} // namespace talvora::host
