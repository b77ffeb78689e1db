#include "dsp/lane_scratch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

namespace talvora::dsp {
namespace {

TEST(RowBuffer, GrowsAndStaysAlignedToCacheLines) {
    RowBuffer buffer;
    for (const std::size_t count : {0U, 1U, 8U, 9U, 1000U, 5U}) {
        double* rows = buffer.reserve(count);
        ASSERT_NE(rows, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(rows) % 64, 0U);
        std::fill_n(rows, count, 1.0); // the sanitizers watch its end
    }
}

} // namespace
} // namespace talvora::dsp
