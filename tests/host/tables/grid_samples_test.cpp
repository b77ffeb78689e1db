#include "host/tables/grid_samples.h"
#include "tests/support/special_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::IsNan;

struct Part {
    std::size_t first_row;
    std::size_t row_count;
    std::uint64_t first_sample;
    std::uint64_t sample_count;
    bool operator==(const Part&) const = default;
};

std::vector<Part> take_next(GridWalk& walk, std::uint64_t sample_count) {
    std::vector<Part> parts;
    for (const GridPart& part : walk.next(sample_count)) {
        parts.push_back({part.first_row, part.row_count, part.first_sample, part.sample_count});
    }
    return parts;
}

TEST(GridSamples, StandWhereTheirRowsDo) {
    const TimeGrid grid{.sample_count = 6, .sample_of_row = {0, 2, 2, LEFT_OUT, 5}};
    std::vector<double> samples(6, NaN_DOUBLE);
    place_rows_of_part<double>(grid, {.row_count = 5, .sample_count = 6},
                               std::vector<double>{1, 2, 3, 4, 5}, samples);
    EXPECT_THAT(samples, ElementsAre(1, IsNan(), 2, IsNan(), IsNan(), 5));
}

TEST(GridSamples, StandOnStraightLinesBetweenRows) {
    const TimeGrid grid{.sample_count = 4,
                        .sample_of_row = {},
                        .between_rows = {{0, 0}, {0, 0.5}, {1, NaN_DOUBLE}, {2, 0}}};
    std::vector<float> samples(4);
    interpolate_part<float>(grid, {.row_count = 3, .sample_count = 4}, std::vector<double>{1, 2, 8},
                            samples);
    EXPECT_THAT(samples, ElementsAre(1, 1.5F, IsNan(), 8));
}

TEST(GridSamples, AreRoundedOnce) {
    const TimeGrid grid{.sample_count = 1, .sample_of_row = {0}};
    const double sample = 1 + std::ldexp(1.0, -24) + std::ldexp(1.0, -50);
    std::vector<float> samples(1);
    place_rows_of_part<float>(grid, {.row_count = 1, .sample_count = 1}, std::vector{sample},
                              samples);
    EXPECT_EQ(samples[0], std::nextafter(1.0F, 2.0F));
}

TEST(GridWalk, TakesTheRowsOfTheNextSamples) {
    const TimeGrid grid{.sample_count = 9, .sample_of_row = {0, 1, 3, LEFT_OUT, 3, 8}};
    GridWalk walk(grid, 2);
    EXPECT_THAT(take_next(walk, 4),
                ElementsAre(Part{0, 2, 0, 4}, Part{2, 2, 0, 4}, Part{4, 1, 0, 4}));
    EXPECT_THAT(take_next(walk, 4), ElementsAre());
    EXPECT_THAT(take_next(walk, 4), ElementsAre(Part{5, 1, 8, 1}));
    EXPECT_THAT(take_next(walk, 4), ElementsAre());
}

TEST(GridWalk, TakesTheRowsAroundTheNextSamples) {
    const TimeGrid grid{.sample_count = 5,
                        .sample_of_row = {},
                        .between_rows = {{0, 0}, {0, 0.5}, {1, 0.5}, {7, 0.25}, {8, 0}}};
    GridWalk walk(grid, 2);
    EXPECT_THAT(take_next(walk, 2), ElementsAre(Part{0, 2, 0, 2}));
    EXPECT_THAT(take_next(walk, 9), ElementsAre(Part{1, 2, 2, 1}, Part{7, 2, 3, 2}));
}

} // namespace
} // namespace talvora::host
