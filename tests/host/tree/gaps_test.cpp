#include "host/tree/gaps.h"
#include "tests/support/special_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

GapList find(std::uint64_t line_length, const std::vector<float>& samples,
             std::size_t at_once = 1000) {
    GapList list(line_length);
    for (std::size_t i = 0; i < samples.size(); i += at_once) {
        list.append(std::span(samples).subspan(i, std::min(at_once, samples.size() - i)));
    }
    return list;
}

TEST(Gaps, FindsWhereSamplesAreMissing) {
    const GapList list = find(8, {NaN, NaN, 1, 2, NaN, 3, NaN, NaN});
    EXPECT_THAT(list.gaps(), ElementsAre(Gap{0, 2}, Gap{4, 1}, Gap{6, 2}));
    EXPECT_EQ(list.missing_count(), 5U);
}

TEST(Gaps, EndsAGapWithItsLine) {
    EXPECT_THAT(find(3, {1, 2, NaN, NaN, 1, 2}).gaps(), ElementsAre(Gap{2, 1}, Gap{3, 1}));
}

TEST(Gaps, FindsTheSameHoweverTheSamplesArePassed) {
    std::vector<float> samples(10'000, 1.0F);
    std::fill(samples.begin() + 4000, samples.begin() + 4200, NaN);
    for (const std::size_t at_once : {1U, 7U, 4096U, 10'000U}) {
        EXPECT_THAT(find(10'000, samples, at_once).gaps(), ElementsAre(Gap{4000, 200})) << at_once;
    }
}

TEST(Gaps, TakesInfinitiesAsSamples) {
    const float infinity = std::numeric_limits<float>::infinity();
    const GapList list = find(4, {infinity, -infinity, NaN, 1});
    EXPECT_THAT(list.gaps(), ElementsAre(Gap{2, 1}));
    EXPECT_EQ(list.infinite_count(), 2U);
}

// NC_FILL_FLOAT of netCDF's header.
TEST(Gaps, CountsWhatNetcdfMarksAsNeverWritten) {
    constexpr float MARK = 9.9692099683868690e+36F;
    const float greatest = std::numeric_limits<float>::max();
    const GapList list = find(3, {MARK, 1, MARK, std::nextafter(MARK, 0.0F), -MARK, greatest});
    EXPECT_EQ(list.never_written_count(), 2U);
    EXPECT_EQ(list.missing_count(), 0U);
    EXPECT_EQ(list.infinite_count(), 0U);
}

TEST(Gaps, CountsThoseThatWereFilledCompletely) {
    const GapList before = find(10, {NaN, 1, NaN, NaN, 2, NaN, NaN, NaN, 3, NaN});
    const GapList after = find(10, {1, 1, 1, 1, 2, 3, NaN, 3, 3, NaN});
    EXPECT_EQ(count_filled_gaps(before, after), 2U); // those at 0 and at 2
    EXPECT_EQ(count_filled_gaps(before, before), 0U);
    EXPECT_EQ(count_filled_gaps(before, find(10, std::vector<float>(10, 1.0F))), 4U);
}

TEST(Gaps, CountsNothingFilledWhereSamplesWereLost) {
    EXPECT_EQ(count_filled_gaps(find(4, {1, 2, 3, 4}), find(4, {NaN, 2, NaN, 4})), 0U);
}

} // namespace
} // namespace talvora::host
