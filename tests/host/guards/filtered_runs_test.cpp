#include "host/guards/filtered_runs.h"
#include "tests/support/special_values.h"

#include <gtest/gtest.h>

#include <ostream>
#include <tuple>
#include <vector>

namespace talvora::host {
namespace {

// Longest run, filtered runs, samples left, samples erased; runs of 3 are filtered.
using Counts = std::tuple<int, int, int, int>;

Counts count(std::uint64_t line_length, const std::vector<float>& samples,
             std::uint64_t last_extent = 0) {
    GapList gaps(last_extent == 0 ? line_length : last_extent);
    gaps.append(samples);
    const FilteredRuns runs = count_filtered_runs(gaps, samples.size(), line_length, 3);
    return {static_cast<int>(runs.longest), static_cast<int>(runs.filtered_count),
            static_cast<int>(runs.left_samples), static_cast<int>(runs.erased_samples)};
}

TEST(FilteredRuns, AreWholeLinesWhereNothingIsMissing) {
    EXPECT_EQ(count(3, {1, 2, 3, 4, 5, 6}), Counts(3, 2, 0, 0));
    EXPECT_EQ(count(2, {1, 2, 3, 4, 5, 6}), Counts(2, 0, 6, 0));
    EXPECT_EQ(count(1, {}), Counts(0, 0, 0, 0));
}

TEST(FilteredRuns, AreCutByMissingSamples) {
    EXPECT_EQ(count(7, {1, 2, 3, NaN, 4, 5, 6}), Counts(3, 2, 0, 0));
    EXPECT_EQ(count(7, {NaN, NaN, NaN, NaN, NaN, NaN, NaN}), Counts(0, 0, 0, 0));
    EXPECT_EQ(count(5, {NaN, 1, 2, 3, NaN}), Counts(3, 1, 0, 0));
}

TEST(FilteredRuns, EraseShortOnesAtTheEndsAndLeaveThoseBetween) {
    EXPECT_EQ(count(7, {1, 2, NaN, 3, 4, 5, 6}), Counts(4, 1, 0, 2));
    EXPECT_EQ(count(7, {1, 2, 3, 4, NaN, 5, NaN}), Counts(4, 1, 0, 1));
    EXPECT_EQ(count(10, {1, 2, 3, NaN, 1, NaN, 4, 5, 6, NaN}), Counts(3, 2, 1, 0));
    EXPECT_EQ(count(5, {1, 2, NaN, 3, 4}), Counts(2, 0, 4, 0));
}

TEST(FilteredRuns, EndWithTheirLine) {
    EXPECT_EQ(count(3, {NaN, 1, 2, 3, 4, NaN, NaN, NaN, NaN, 1, 2, 3}), Counts(3, 1, 4, 0));
    // Blocks across the gaps of the last dimension: 1 2 NaN | NaN 3 4 and NaN NaN 1 | 2 3 4
    EXPECT_EQ(count(3, {1, 2, NaN, NaN, 3, 4}, 6), Counts(2, 0, 4, 0));
    EXPECT_EQ(count(4, {NaN, NaN, NaN, NaN, NaN, 1, 2, 3}, 8), Counts(3, 1, 0, 0));
}

} // namespace
} // namespace talvora::host
