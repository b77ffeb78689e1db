#include "host/text/shortest_double.h"
#include "tests/host/comma_locale.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace talvora::host {
namespace {

TEST(ShortestDouble, ReadsAFloatAsPeopleWroteIt) {
    EXPECT_EQ(shortest_double(0.1F), 0.1);
    EXPECT_EQ(shortest_double(-100.002625F), -100.002625);
    EXPECT_EQ(shortest_double(16777216.0F), 16777216.0);
    EXPECT_EQ(shortest_double(3.4028235e38F), 3.4028235e38);
    EXPECT_EQ(shortest_double(1e-45F), 1e-45);
}

TEST(ShortestDouble, KeepsWhatIsNoNumberAndTheSignOfZero) {
    EXPECT_EQ(shortest_double(-std::numeric_limits<float>::infinity()),
              -std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(shortest_double(std::numeric_limits<float>::quiet_NaN())));
    EXPECT_TRUE(std::signbit(shortest_double(-0.0F)));
}

TEST(ShortestDouble, DoesNotDependOnTheLocale) {
    const CommaLocale locale;
    EXPECT_EQ(shortest_double(0.5F), 0.5);
}

} // namespace
} // namespace talvora::host
