#include "library/way_search.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <vector>

namespace talvora::library {
namespace {

// All that the steps make together, one by one.
std::set<std::uint64_t> list_distances(const std::vector<Steps>& steps) {
    std::set<std::uint64_t> distances = {0};
    for (const auto& [size, most] : steps) {
        std::set<std::uint64_t> longer;
        for (const std::uint64_t distance : distances) {
            for (std::uint64_t count = 0; count <= most; ++count) {
                longer.insert(distance + count * size);
            }
        }
        distances = longer;
    }
    return distances;
}

// Of every distance up to one beyond all of them.
TEST(FindWay, FindsWhatStepsMakeAndNothingElse) {
    const std::vector<Steps> cases[] = {
        {},
        {{0, 5}},
        {{7, 3}},
        {{1, 3}, {100, 9}},
        {{8, 9}, {8, 5}, {1, 3}, {1, 3}},
        {{3, 4}, {5, 4}},
        {{6, 5}, {10, 3}, {15, 2}},
        {{4, 3}, {6, 2}, {9, 1}, {0, 2}, {50, 0}},
    };
    for (const std::vector<Steps>& steps : cases) {
        const std::set<std::uint64_t> distances = list_distances(steps);
        for (std::uint64_t distance = 0; distance <= *distances.rbegin() + 1; ++distance) {
            EXPECT_EQ(find_way(steps, distance),
                      distances.contains(distance) ? Answer::Yes : Answer::No)
                << distance;
        }
    }
}

// Two blocks of columns of a table with a billion rows.
TEST(FindWay, TakesAFewTrialsOfNestedSteps) {
    const std::uint64_t rows = 1'000'000'000;
    const std::vector<Steps> steps = {{8, rows}, {8, rows}, {1, 3}, {1, 3}};
    EXPECT_EQ(find_way(steps, 8 * rows + 7), Answer::No);
    EXPECT_EQ(find_way(steps, 8 * rows + 6), Answer::Yes);
}

// One of each of 60 sizes about 2^50: two to the power of 60 sums, and none of them is known.
TEST(FindWay, GivesUp) {
    std::vector<Steps> steps;
    std::uint64_t size = 1;
    std::uint64_t sum = 0;
    for (int i = 0; i < 60; ++i) {
        size = size * 6364136223846793005U + 1442695040888963407U;
        steps.push_back({(size >> 14U) | 1U, 1});
        sum += steps.back().size;
    }
    EXPECT_EQ(find_way(steps, sum / 2), Answer::Unknown);
}

} // namespace
} // namespace talvora::library
