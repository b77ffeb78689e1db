#include "dsp/lane_pass.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace talvora::dsp {
namespace {

using testing::ElementsAre;

// y = (x + x before) / 2: the state is half of the last sample.
const PreparedFilter MEAN = prepare_filter({{0.5, 0.5}, {1.0}});
// Three taps: a state of two rows.
const PreparedFilter LOW = prepare_filter({{0.25, 0.5, 0.25}, {1.0, 0.0, 0.0}});

// Four lanes at rest on 1, which two rows of ones leave as they are.
class LanePassAtRest : public testing::Test {
  protected:
    LanePassAtRest() {
        for (std::size_t lane = 0; lane < 4; ++lane) {
            pass_.put_to_rest(lane, 1.0);
        }
        filter_ones();
    }
    void filter_ones() {
        const std::vector<double> ones(8, 1.0);
        pass_.filter(ones.data(), out_.data(), 2, 4);
    }
    LanePass pass_{MEAN, SSE2_LANE_KERNELS, 4};
    std::vector<double> out_ = std::vector<double>(8);
};

TEST_F(LanePassAtRest, RepeatsItsStateOverAsManyRows) {
    EXPECT_THAT(out_, testing::Each(1.0));
    EXPECT_TRUE(pass_.state_repeats(2));
    EXPECT_FALSE(pass_.state_repeats(1));
    EXPECT_FALSE(pass_.state_repeats(3));
}

TEST_F(LanePassAtRest, DoesNotRepeatAfterAnotherInput) {
    const std::vector<double> row = {1.0, 1.0, 1.0, 3.0};
    pass_.filter(row.data(), out_.data(), 1, 4);
    EXPECT_THAT(pass_.state(), ElementsAre(0.5, 0.5, 0.5, 1.5));
    EXPECT_FALSE(pass_.state_repeats(1));
}

TEST_F(LanePassAtRest, StartsOverWithWhateverStateItIsGiven) {
    const std::vector<double> state(pass_.state().begin(), pass_.state().end());
    pass_.set_state(state);
    EXPECT_FALSE(pass_.state_repeats(2));
    filter_ones();
    pass_.set_lane_state(3, std::array{0.5});
    EXPECT_FALSE(pass_.state_repeats(2));
    filter_ones();
    pass_.put_to_rest(3, 1.0);
    EXPECT_FALSE(pass_.state_repeats(2));
    filter_ones();
    pass_.start_over();
    EXPECT_FALSE(pass_.state_repeats(2));
    filter_ones();
    EXPECT_TRUE(pass_.state_repeats(2));
}

TEST(LanePass, KeepsTheStateOfEachLaneByItself) {
    LanePass pass(LOW, SSE2_LANE_KERNELS, 4);
    pass.set_lane_state(1, std::array{5.0, 7.0});
    EXPECT_THAT(pass.state(), ElementsAre(0, 5, 0, 0, 0, 7, 0, 0));
    pass.put_to_rest(2, 4.0); // (1/2 + 1/4) * 4 and 1/4 * 4
    EXPECT_THAT(pass.state(), ElementsAre(0, 5, 3, 0, 0, 7, 1, 0));
    EXPECT_THAT(pass.lane_state(1), ElementsAre(5, 7));
    EXPECT_THAT(pass.lane_state(2), ElementsAre(3, 1));
}

TEST(RowBuffer, GrowsAndStaysAlignedToCacheLines) {
    RowBuffer buffer;
    for (const std::size_t count : {1U, 8U, 9U, 1000U, 5U}) {
        double* rows = buffer.reserve(count);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(rows) % 64, 0U);
        std::fill_n(rows, count, 1.0); // the sanitizers watch its end
    }
}

} // namespace
} // namespace talvora::dsp
