#include "host/guards/line_summaries.h"
#include "tests/host/guards/guarded_test.h"
#include "tests/support/special_values.h"

#include <cmath>
#include <numeric>

namespace talvora::host {
namespace {

using testing::SizeIs;

class LineSummaries : public GuardedTest {
  protected:
    // The samples are 0, 1, 2, ... in row-major order.
    std::vector<LineSummary> summarise(const Extents& extents, std::size_t axis) {
        std::vector<float> samples(count_samples(extents));
        std::iota(samples.begin(), samples.end(), 0.0F);
        return summarise_lines(tree_, add_set("X", extents, samples), SetLines(extents, axis));
    }
};

TEST_F(LineSummaries, AreOfTheLastDimension) {
    const auto lines = summarise({2, 1, 10}, 2);
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_EQ(lines[0].sum, 45);
    EXPECT_EQ(lines[1].sum, 145);
    EXPECT_EQ(lines[1].least, 10);
    EXPECT_EQ(lines[1].greatest, 19);
}

TEST_F(LineSummaries, AreOfAnotherDimension) {
    const auto lines = summarise({2, 3, 2}, 1);
    ASSERT_THAT(lines, SizeIs(4));
    EXPECT_EQ(lines[0].sum, 0 + 2 + 4);
    EXPECT_EQ(lines[1].sum, 1 + 3 + 5);
    EXPECT_EQ(lines[3].sum, 7 + 9 + 11);
    EXPECT_EQ(lines[3].least, 7);
    EXPECT_EQ(lines[3].greatest, 11);
}

// More than are read at once, so that parts end in the middle of lines.
TEST_F(LineSummaries, AreOfSetsReadInParts) {
    const auto in_a_row = summarise({3, 300000}, 1);
    EXPECT_EQ(in_a_row[1].sum, 300000.0 * (300000 + 599999) / 2);
    EXPECT_EQ(in_a_row[2].greatest, 899999);
}

TEST_F(LineSummaries, AreOfNeighbouringLinesReadInParts) {
    const auto side_by_side = summarise({3, 300000}, 0);
    EXPECT_EQ(side_by_side[299999].sum, 299999 + 599999 + 899999);
    EXPECT_EQ(side_by_side[1].least, 1);
}

TEST_F(LineSummaries, HaveNoSumWhereSamplesAreMissing) {
    const ObjectId set = add_set("X", {2, 2}, {1, NaN, 3, 4});
    const auto lines = summarise_lines(tree_, set, SetLines({2, 2}, 1));
    EXPECT_TRUE(std::isnan(lines[0].sum));
    EXPECT_EQ(lines[1].sum, 7);
}

} // namespace
} // namespace talvora::host
