#include "host/pictures/axis_ticks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using Labels = std::vector<std::string>;

Labels labels_of(const AxisRange& range) {
    Labels labels;
    for (const AxisTick& tick : place_ticks(range)) {
        if (!tick.label.empty()) {
            labels.push_back(tick.label);
        }
    }
    return labels;
}

TEST(AxisTicks, StandAtRoundValues) {
    EXPECT_EQ(labels_of({0, 10}), (Labels{"0", "2", "4", "6", "8", "10"}));
    EXPECT_EQ(labels_of({0.13, 0.42}), (Labels{"0.15", "0.2", "0.25", "0.3", "0.35", "0.4"}));
    EXPECT_EQ(labels_of({-60, 5}), (Labels{"−60", "−50", "−40", "−30", "−20", "−10", "0"}));
}

TEST(AxisTicks, ReachBothEndsInSpiteOfRounding) {
    EXPECT_EQ(labels_of({0.1, 0.7}), (Labels{"0.1", "0.2", "0.3", "0.4", "0.5", "0.6", "0.7"}));
}

TEST(AxisTicks, DifferInPrintFarFromZero) {
    EXPECT_EQ(labels_of({1700000000, 1700000001}),
              (Labels{"1700000000", "1700000000.2", "1700000000.4", "1700000000.6", "1700000000.8",
                      "1700000001"}));
    EXPECT_EQ(labels_of({-1700000000.006, -1700000000}),
              (Labels{"−1700000000.006", "−1700000000.005", "−1700000000.004", "−1700000000.003",
                      "−1700000000.002", "−1700000000.001", "−1700000000"}));
}

TEST(AxisTicks, LabelThePowersOfTenOfALongLogarithmicAxis) {
    EXPECT_EQ(labels_of({0.5, 2000, true}), (Labels{"1", "10", "100", "1000"}));
    EXPECT_EQ(place_ticks({1, 1000, true}).size(), 28U);
}

TEST(AxisTicks, LabelTwoAndFiveOfAShortLogarithmicAxis) {
    EXPECT_EQ(labels_of({1, 60, true}), (Labels{"1", "2", "5", "10", "20", "50"}));
}

TEST(FitRange, EndsAtTicks) {
    const AxisRange range = fit_range(-1.35, 2.58);
    EXPECT_DOUBLE_EQ(range.from, -2.0);
    EXPECT_DOUBLE_EQ(range.to, 3.0);
}

TEST(FitRange, GivesRoomToAConstantAndToNothing) {
    EXPECT_EQ(fit_range(3, 3).from, 2.5);
    EXPECT_EQ(fit_range(3, 3).to, 3.5);
    EXPECT_LT(fit_range(1e30, 1e30).from, fit_range(1e30, 1e30).to);
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(fit_range(infinity, -infinity).to, 1.0);
}

} // namespace
} // namespace talvora::host
