#include "dsp/valid_runs.h"
#include "tests/dsp/list_valid_runs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
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
    EXPECT_THAT(list_valid_runs(line, -1),
                ElementsAre(ValidRun{1, 2}, ValidRun{5, 1}, ValidRun{7, 3}));
}

TEST(FindValidRuns, KeepsARunOfExactlyTheMinimumAndDropsOneShorter) {
    const std::vector<float> line = {1, 2, 3, NaN, 4, 5};
    EXPECT_THAT(list_valid_runs(line, 3), ElementsAre(ValidRun{0, 3}));
    EXPECT_THAT(list_valid_runs(line, 2), ElementsAre(ValidRun{0, 3}, ValidRun{4, 2}));
}

TEST(FindValidRuns, CountsInfinitiesAsSamples) {
    const std::vector<float> line = {INF, -INF, NaN, INF};
    EXPECT_THAT(list_valid_runs(line, 1), ElementsAre(ValidRun{0, 2}, ValidRun{3, 1}));
}

TEST(FindValidRuns, TakesEveryNanAndNothingElseForMissingWhereverItStands) {
    const std::uint32_t missing[] = {0x7F800001U, 0x7FC00000U, 0x7FFFFFFFU,
                                     0xFF800001U, 0xFFC00000U, 0xFFFFFFFFU};
    const std::uint32_t valid[] = {0x7F800000U, 0xFF800000U, 0x7F7FFFFFU, 0x80000000U, 1U};
    for (std::size_t place = 0; place < 100; ++place) {
        std::vector<float> line(100, 1.0F);
        for (const std::uint32_t bits : valid) {
            line[place] = std::bit_cast<float>(bits);
            EXPECT_EQ(list_valid_runs(line, 1).size(), 1U);
        }
        for (const std::uint32_t bits : missing) {
            line[place] = std::bit_cast<float>(bits);
            std::int64_t sample_count = 0;
            for (const ValidRun& run : list_valid_runs(line, 1)) {
                sample_count += run.length;
            }
            EXPECT_EQ(sample_count, 99) << "place " << place << ", bits " << bits;
        }
    }
}

TEST(FindValidRuns, FindsNothingInAnEmptyOrMissingLine) {
    EXPECT_THAT(list_valid_runs(std::vector<float>{}, -1), IsEmpty());
    EXPECT_THAT(list_valid_runs(std::vector<float>{NaN, NaN}, -1), IsEmpty());
}

TEST(FindValidRuns, GrowsPastItsFirstRoom) {
    std::vector<float> line;
    for (int run = 0; run < 1000; ++run) {
        line.insert(line.end(), {1.0F, NaN});
    }
    const auto runs = list_valid_runs(line, 1);
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
