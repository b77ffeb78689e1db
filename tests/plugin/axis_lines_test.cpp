#include "plugin/set_records.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <new>
#include <set>
#include <vector>

namespace talvora {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Extents = std::vector<std::uint64_t>;

TEST(AxisLines, RunAlongTheLastDimension) {
    AxisLines lines = plan_axis_lines(Extents{4, 3, 100}, 2);
    EXPECT_EQ(lines.line_length, 100U);
    EXPECT_EQ(lines.line_count, 12U);
    EXPECT_THAT(lines.other_extents, ElementsAre(4, 3));
    EXPECT_THAT(lines.cumulative_counts, ElementsAre(1, 4, 12));
    EXPECT_THAT(lines.selection, ElementsAre(0, 0, 0, 1, 1, 100));
    EXPECT_THAT(lines.start_indices, ElementsAre(0, 1));
    lines.select_line(7);
    EXPECT_THAT(lines.selection, ElementsAre(3, 1, 0, 1, 1, 100));
}

TEST(AxisLines, RunAlongTheFirstDimension) {
    AxisLines lines = plan_axis_lines(Extents{4, 3, 5}, 0);
    EXPECT_EQ(lines.line_length, 4U);
    EXPECT_EQ(lines.line_count, 15U);
    EXPECT_THAT(lines.other_extents, ElementsAre(3, 5));
    EXPECT_THAT(lines.cumulative_counts, ElementsAre(1, 3, 15));
    EXPECT_THAT(lines.start_indices, ElementsAre(1, 2));
    lines.select_line(7);
    EXPECT_THAT(lines.selection, ElementsAre(0, 1, 2, 4, 1, 1));
}

TEST(AxisLines, RunAlongADimensionInBetween) {
    AxisLines lines = plan_axis_lines(Extents{4, 3, 5}, 1);
    EXPECT_EQ(lines.line_length, 3U);
    EXPECT_THAT(lines.cumulative_counts, ElementsAre(1, 4, 20));
    EXPECT_THAT(lines.start_indices, ElementsAre(0, 2));
    lines.select_line(7);
    EXPECT_THAT(lines.selection, ElementsAre(3, 0, 1, 1, 3, 1));
}

TEST(AxisLines, AreOneForASetOfOneDimension) {
    AxisLines lines = plan_axis_lines(Extents{100}, 0);
    EXPECT_EQ(lines.line_length, 100U);
    EXPECT_EQ(lines.line_count, 1U);
    EXPECT_THAT(lines.other_extents, IsEmpty());
    EXPECT_THAT(lines.cumulative_counts, ElementsAre(1));
    EXPECT_THAT(lines.start_indices, IsEmpty());
    lines.select_line(0);
    EXPECT_THAT(lines.selection, ElementsAre(0, 100));
}

TEST(AxisLines, AreNoneWhenAnotherDimensionIsEmpty) {
    EXPECT_EQ(plan_axis_lines(Extents{4, 0, 100}, 2).line_count, 0U);
}

TEST(AxisLines, AreEmptyWhenTheAxisIsEmpty) {
    const AxisLines lines = plan_axis_lines(Extents{4, 3, 0}, 2);
    EXPECT_EQ(lines.line_length, 0U);
    EXPECT_EQ(lines.line_count, 12U);
    EXPECT_THAT(lines.selection, ElementsAre(0, 0, 0, 1, 1, 0));
}

TEST(AxisLines, TouchEachPlaceOfTheSetOnce) {
    const Extents extents{3, 2, 4, 2};
    for (std::size_t axis = 0; axis < extents.size(); ++axis) {
        AxisLines lines = plan_axis_lines(extents, axis);
        std::set<Extents> starts;
        for (std::uint64_t line = 0; line < lines.line_count; ++line) {
            lines.select_line(line);
            starts.emplace(lines.selection.begin(), lines.selection.begin() + 4);
        }
        EXPECT_EQ(starts.size() * extents[axis], 48U) << axis;
        for (const Extents& start : starts) {
            EXPECT_EQ(start[axis], 0U);
            for (std::size_t k = 0; k < extents.size(); ++k) {
                EXPECT_LT(start[k], extents[k]);
            }
        }
    }
}

TEST(AxisLines, CanBeVisitedInAnyOrder) {
    AxisLines lines = plan_axis_lines(Extents{4, 3, 100}, 2);
    lines.select_line(11);
    lines.select_line(0);
    EXPECT_THAT(lines.selection, ElementsAre(0, 0, 0, 1, 1, 100));
}

TEST(WholeSetSelection, IsZerosThenExtents) {
    EXPECT_THAT(select_whole_set(Extents{4, 1, 100}), ElementsAre(0, 0, 0, 4, 1, 100));
}

TEST(SampleCount, IsTheProductOfTheExtents) {
    EXPECT_EQ(count_samples(Extents{4, 1, 100}), 400U);
    EXPECT_EQ(count_samples(Extents{7}), 7U);
    EXPECT_EQ(count_samples(Extents{std::uint64_t{1} << 40, 0, std::uint64_t{1} << 40}), 0U);
}

TEST(SampleCount, IsRefusedWhenItIsBeyondAllMemory) {
    constexpr std::uint64_t LARGEST = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(count_samples(Extents{LARGEST, 1}), LARGEST);
    EXPECT_THROW(count_samples(Extents{LARGEST, 2}), std::bad_array_new_length);
    EXPECT_THROW(count_samples(Extents{std::uint64_t{1} << 32, std::uint64_t{1} << 32}),
                 std::bad_array_new_length);
}

} // namespace
} // namespace talvora
