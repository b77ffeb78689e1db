#include "host/tree/slabs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace talvora::host {
namespace {

using testing::IsEmpty;

// Row-major positions in the order in which the slabs take them in.
std::vector<std::uint64_t> visit(const Extents& extents, std::uint64_t max_samples) {
    std::vector<std::uint64_t> positions;
    visit_slabs(extents, max_samples, [&](const Hyperslab& slab, std::uint64_t count) {
        EXPECT_LE(count, max_samples);
        EXPECT_EQ(count, count_samples(slab.counts));
        std::uint64_t first = 0;
        for (std::size_t d = 0; d < extents.size(); ++d) {
            EXPECT_LE(slab.starts[d] + slab.counts[d], extents[d]);
            first = first * extents[d] + slab.starts[d];
        }
        for (std::uint64_t i = 0; i < count; ++i) {
            positions.push_back(first + i);
        }
    });
    return positions;
}

TEST(Slabs, TakeInEverySampleOnceInRowMajorOrder) {
    const Extents shapes[] = {{}, {1}, {7}, {3, 5}, {2, 3, 4}, {3, 1, 10}, {1, 1, 9}, {4, 1, 1}};
    for (const Extents& extents : shapes) {
        std::vector<std::uint64_t> all(count_samples(extents));
        std::iota(all.begin(), all.end(), 0);
        for (const std::uint64_t max_samples : {1U, 2U, 3U, 5U, 12U, 100U}) {
            EXPECT_EQ(visit(extents, max_samples), all)
                << describe_extents(extents) << " by " << max_samples;
        }
    }
}

TEST(Slabs, AreNoneWithoutSamples) {
    EXPECT_THAT(visit({3, 0, 5}, 10), IsEmpty());
}

} // namespace
} // namespace talvora::host
