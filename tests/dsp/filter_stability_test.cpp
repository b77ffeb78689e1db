#include "dsp/filter_stability.h"
#include "tests/support/special_values.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace talvora::dsp {
namespace {

// The pole is -a[1] / a[0].
TEST(FilterStability, OfDegreeOneIsAPoleWithinTheCircle) {
    EXPECT_TRUE(is_stable(std::vector{1.0, -0.999}));
    EXPECT_TRUE(is_stable(std::vector{-2.0, 1.999}));
    EXPECT_FALSE(is_stable(std::vector{1.0, -1.0}));
    EXPECT_FALSE(is_stable(std::vector{1.0, 1.001}));
}

// z^2 + p z + q has both roots within the circle where |q| < 1 and |p| < 1 + q.
TEST(FilterStability, OfDegreeTwoIsATriangle) {
    for (double p = -2.5; p <= 2.5; p += 0.125) {
        for (double q = -1.5; q <= 1.5; q += 0.125) {
            EXPECT_EQ(is_stable(std::vector{1.0, p, q}), std::abs(q) < 1 && std::abs(p) < 1 + q)
                << p << ' ' << q;
        }
    }
}

TEST(FilterStability, CountsPolesAtZero) {
    EXPECT_TRUE(is_stable(std::vector{3.0}));
    EXPECT_TRUE(is_stable(std::vector{1.0, 0.0, 0.0}));
    EXPECT_FALSE(is_stable(std::vector{1.0, -1.5, 0.0, 0.0}));
}

TEST(FilterStability, IsNoneOfMissingCoefficients) {
    EXPECT_FALSE(is_stable(std::vector{1.0, NaN_DOUBLE}));
    EXPECT_FALSE(is_stable(std::vector{1.0, NaN_DOUBLE, 0.1}));
    EXPECT_FALSE(is_stable(std::vector{NaN_DOUBLE, 0.5}));
}

} // namespace
} // namespace talvora::dsp
