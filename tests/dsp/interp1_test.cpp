#include "dsp/interp1.h"

#include <Eigen/Core>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

namespace {

using Eigen::VectorXf;
using Interpolator = Eigen::internal::Interp1Linear<VectorXf, VectorXf>;
using Base = Eigen::internal::Interp1Base<VectorXf, VectorXf>;

struct Points {
    VectorXf xs;
    VectorXf ys;
};

Points make_squares(int count, int direction = 1) {
    Points points{VectorXf(count), VectorXf(count)};
    for (int i = 0; i < count; ++i) {
        points.xs[i] = static_cast<float>(direction * i);
        points.ys[i] = static_cast<float>(i * i);
    }
    return points;
}

static_assert(std::is_abstract_v<Base>);
static_assert(std::is_base_of_v<Base, Interpolator>);
// Seven fields of eight bytes behind the pointer to the virtual functions.
static_assert(sizeof(Interpolator) == 64);

TEST(Interp1Linear, StartsUncorrelatedAtTheFirstPoint) {
    const Points points = make_squares(5);
    const Interpolator interpolator(points.xs, points.ys);
    EXPECT_EQ(interpolator.pointCount, 5);
    EXPECT_EQ(interpolator.pointsPerInterval, 2);
    EXPECT_EQ(interpolator.lastIndex, 0);
    EXPECT_EQ(interpolator.correlated, 0);
}

TEST(Interp1Linear, NeverHuntsAcrossMoreThanOneInterval) {
    for (const int count : {2, 16, 10000}) {
        const Points points = make_squares(count);
        EXPECT_EQ(Interpolator(points.xs, points.ys).huntLimit, 1) << count;
    }
}

TEST(Interp1Linear, ConnectsNeighboursWithAStraightLine) {
    const Points points = make_squares(5);
    Interpolator interpolator(points.xs, points.ys);
    EXPECT_EQ(interpolator.interpolate(2.0F), 4.0F);
    EXPECT_EQ(interpolator.interpolate(2.5F), 6.5F);
    EXPECT_EQ(interpolator.interpolate(3.25F), 10.75F);
}

TEST(Interp1Linear, ContinuesTheOuterIntervalsBeyondTheEnds) {
    const Points points = make_squares(3);
    Interpolator interpolator(points.xs, points.ys);
    EXPECT_EQ(interpolator.interpolate(-1.0F), -1.0F);
    EXPECT_EQ(interpolator.interpolate(3.0F), 7.0F);
}

TEST(Interp1Linear, GivesTheFirstOfTwoPointsInOnePlace) {
    const Points points{VectorXf{{1, 1}}, VectorXf{{7, 9}}};
    EXPECT_EQ(Interpolator(points.xs, points.ys).evaluateInterval(0, 1.0F), 7.0F);
}

TEST(Interp1Linear, HuntsAfterTwoSearchesInNeighbouringIntervals) {
    const Points points = make_squares(100);
    Interpolator interpolator(points.xs, points.ys);
    interpolator.interpolate(50.5F);
    EXPECT_EQ(interpolator.lastIndex, 50);
    EXPECT_EQ(interpolator.correlated, 0);
    interpolator.interpolate(51.5F);
    EXPECT_EQ(interpolator.lastIndex, 51);
    EXPECT_EQ(interpolator.correlated, 1);
    interpolator.interpolate(53.5F);
    EXPECT_EQ(interpolator.correlated, 0);
}

// Each pair of a starting point and a position, rising and falling abscissae.
TEST(Interp1Linear, HuntsToWhereBisectionLeads) {
    constexpr int COUNT = 40;
    for (const int direction : {1, -1}) {
        const Points points = make_squares(COUNT, direction);
        Interpolator interpolator(points.xs, points.ys);
        for (int from = 0; from < COUNT; ++from) {
            for (int to = 0; to < COUNT - 1; ++to) {
                const float x = (static_cast<float>(to) + 0.5F) * static_cast<float>(direction);
                interpolator.lastIndex = from;
                ASSERT_EQ(interpolator.hunt(x), to) << from << ' ' << direction;
                ASSERT_EQ(interpolator.locate(x), to) << from << ' ' << direction;
            }
        }
    }
}

// Rising abscissae, counting how often one is looked at.
struct CountedLine {
    std::int64_t size() const { return 1 << 16; }
    float operator[](std::int64_t index) const {
        ++count;
        return static_cast<float>(index);
    }
    mutable int count = 0;
};

template <typename Search>
int count_looks(CountedLine& line, Search search) {
    line.count = 0;
    search();
    return line.count;
}

TEST(Interp1Linear, LooksAtFewPointsWhenTheyAreNearTheLastOnes) {
    CountedLine line;
    const CountedLine values;
    Eigen::internal::Interp1Linear<CountedLine, CountedLine> interpolator(line, values);
    const int in_all = count_looks(line, [&] { interpolator.interpolate(30000.5F); });
    interpolator.interpolate(30001.5F);
    const int nearby = count_looks(line, [&] { interpolator.interpolate(30002.5F); });
    EXPECT_LT(2 * nearby, in_all);
}

TEST(Interp1Linear, HuntsFarWithNotManyMoreLooksThanByBisection) {
    CountedLine line;
    Eigen::internal::Interp1Linear<CountedLine, CountedLine> interpolator(line, line);
    const int in_all = count_looks(line, [&] { interpolator.locate(60000.5F); });
    interpolator.lastIndex = 10;
    EXPECT_LE(count_looks(line, [&] { interpolator.hunt(60000.5F); }), 3 * in_all);
    EXPECT_LE(count_looks(line, [&] { interpolator.hunt(10.5F); }), 3 * in_all);
}

TEST(Interp1Linear, HuntsAmongAllPointsFromAnIndexOutsideThem) {
    const Points points = make_squares(10);
    Interpolator interpolator(points.xs, points.ys);
    for (const std::int64_t outside : {-1, 10}) {
        interpolator.lastIndex = outside;
        EXPECT_EQ(interpolator.hunt(4.5F), 4);
    }
}

TEST(Interp1Linear, InterpolatesOverFallingAbscissae) {
    const Points points = make_squares(5, -1);
    Interpolator interpolator(points.xs, points.ys);
    EXPECT_EQ(interpolator.interpolate(-2.5F), 6.5F);
}

} // namespace
