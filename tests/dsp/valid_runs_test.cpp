#include "dsp/valid_runs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace talvora::dsp {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr float NaN = std::numeric_limits<float>::quiet_NaN();
constexpr float INF = std::numeric_limits<float>::infinity();

TEST(FindValidRuns, KeepsEveryRunInOrderWithANegativeMinimum) {
    const std::vector<float> line = {NaN, 1, 2, NaN, NaN, 3, NaN, 4, 5, 6};
    EXPECT_THAT(find_valid_runs(line, -1),
                ElementsAre(ValidRun{1, 2}, ValidRun{5, 1}, ValidRun{7, 3}));
}

TEST(FindValidRuns, KeepsARunOfExactlyTheMinimumAndDropsOneShorter) {
    const std::vector<float> line = {1, 2, 3, NaN, 4, 5};
    EXPECT_THAT(find_valid_runs(line, 3), ElementsAre(ValidRun{0, 3}));
    EXPECT_THAT(find_valid_runs(line, 2), ElementsAre(ValidRun{0, 3}, ValidRun{4, 2}));
}

TEST(FindValidRuns, CountsInfinitiesAsSamples) {
    const std::vector<float> line = {INF, -INF, NaN, INF};
    EXPECT_THAT(find_valid_runs(line, 1), ElementsAre(ValidRun{0, 2}, ValidRun{3, 1}));
}

TEST(FindValidRuns, FindsNothingInAnEmptyOrMissingLine) {
    EXPECT_THAT(find_valid_runs(std::vector<float>{}, -1), IsEmpty());
    EXPECT_THAT(find_valid_runs(std::vector<float>{NaN, NaN}, -1), IsEmpty());
}

TEST(FindValidRuns, GrowsPastItsFirstRoom) {
    std::vector<float> line;
    for (int run = 0; run < 1000; ++run) {
        line.insert(line.end(), {1.0F, NaN});
    }
    const auto runs = find_valid_runs(line, 1);
    ASSERT_EQ(runs.size(), 1000U);
    EXPECT_EQ(runs.back(), (ValidRun{1998, 1}));
}

TEST(FindValidRuns, DropsWhatTheReusedListHeld) {
    std::vector<ValidRun> runs = {{7, 7}};
    find_valid_runs(std::vector<float>{NaN, 1}, 1, runs);
    EXPECT_THAT(runs, ElementsAre(ValidRun{1, 1}));
}

} // namespace
} // namespace talvora::dsp
