#include "dsp/one_lane.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace talvora::dsp {
namespace {

using testing::Each;
using testing::ElementsAre;

// y = (x + x before) / 2: the state is half of the last sample.
const PreparedFilter MEAN = prepare_filter({{0.5, 0.5}, {1.0}});

class OneLaneAtRest : public testing::Test {
  protected:
    OneLaneAtRest() { lane_.put_to_rest(1.0); }
    // Rows of one value backward; the last sample comes first.
    bool filter(double value) {
        const LaneRows rows = filled(value);
        return lane_.filter_backward(&rows.back(), 1, output_.data());
    }
    static LaneRows filled(double value) {
        LaneRows rows;
        rows.fill(value);
        return rows;
    }
    OneLane lane_{MEAN};
    std::array<float, REST_ROWS> output_{};
};

TEST_F(OneLaneAtRest, KnowsWhatItDidInTheSameStateWithTheSameInput) {
    EXPECT_TRUE(filter(1.0));
    output_.fill(0.0F);
    EXPECT_FALSE(filter(1.0));
    EXPECT_THAT(output_, Each(1.0F));
    EXPECT_THAT(lane_.state(), ElementsAre(0.5));
}

TEST_F(OneLaneAtRest, ComputesWhereTheInputOrTheStateIsAnother) {
    filter(1.0);
    EXPECT_TRUE(filter(3.0));
    EXPECT_EQ(output_[REST_ROWS - 1], 2.0F);
    EXPECT_EQ(output_[REST_ROWS - 2], 3.0F);
    EXPECT_TRUE(filter(1.0)); // from 3 / 2 now
    EXPECT_EQ(output_[REST_ROWS - 1], 2.0F);
}

TEST_F(OneLaneAtRest, TellsZerosOfEitherSignApart) {
    lane_.put_to_rest(0.0);
    filter(0.0);
    EXPECT_TRUE(filter(-0.0));
    EXPECT_FALSE(std::signbit(output_[REST_ROWS - 1])); // -0 + 0
    EXPECT_TRUE(std::signbit(output_[REST_ROWS - 2]));
}

TEST_F(OneLaneAtRest, FiltersSamplesForTheirStateAlone) {
    std::array<float, REST_ROWS> samples{};
    samples.back() = 6.0F;
    EXPECT_TRUE(lane_.filter_forward(samples.data()));
    EXPECT_THAT(lane_.state(), ElementsAre(3.0)); // half of the last sample
    lane_.put_to_rest(1.0);
    samples.fill(1.0F);
    EXPECT_TRUE(lane_.filter_forward(samples.data()));
    EXPECT_FALSE(lane_.filter_forward(samples.data()));
}

// What the forward pass knows has no output.
TEST_F(OneLaneAtRest, ComputesWhatItKnowsTheStateOfAlone) {
    std::array<float, REST_ROWS> samples{};
    samples.fill(1.0F);
    EXPECT_TRUE(lane_.filter_forward(samples.data()));
    EXPECT_TRUE(filter(1.0));
    EXPECT_THAT(output_, Each(1.0F));
}

TEST_F(OneLaneAtRest, TakesRowsThatLieApart) {
    std::vector<double> rows(3 * REST_ROWS, 100.0);
    for (std::size_t i = 0; i < REST_ROWS; ++i) {
        rows[3 * i] = static_cast<double>(2 * i);
    }
    lane_.put_to_rest(0.0);
    lane_.filter_backward(&rows[3 * (REST_ROWS - 1)], 3, output_.data());
    EXPECT_EQ(output_[REST_ROWS - 1], 47.0F); // (94 + 0) / 2
    EXPECT_EQ(output_[0], 1.0F);              // (0 + 2) / 2
}

TEST_F(OneLaneAtRest, FiltersAnyNumberOfSamplesInPlace) {
    for (const std::size_t count : {1U, 5U, 48U, 49U, 200U}) {
        lane_.put_to_rest(0.0);
        std::vector<double> samples(count);
        for (std::size_t i = 0; i < count; ++i) {
            samples[i] = static_cast<double>(2 * i);
        }
        lane_.filter(samples);
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_EQ(samples[i], i == 0 ? 0.0 : static_cast<double>(2 * i - 1));
        }
    }
}

TEST_F(OneLaneAtRest, TellsWhenItHasMetAMissingSample) {
    EXPECT_FALSE(lane_.has_met_missing());
    filter(std::numeric_limits<double>::quiet_NaN());
    EXPECT_TRUE(lane_.has_met_missing());
}

} // namespace
} // namespace talvora::dsp
