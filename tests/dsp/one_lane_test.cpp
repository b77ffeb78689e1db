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

template <class Sample>
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
    std::array<Sample, REST_ROWS> output_{};
};

using SampleTypes = testing::Types<float, double>;
TYPED_TEST_SUITE(OneLaneAtRest, SampleTypes);

TYPED_TEST(OneLaneAtRest, KnowsWhatItDidInTheSameStateWithTheSameInput) {
    EXPECT_TRUE(this->filter(1.0));
    this->output_.fill(0);
    EXPECT_FALSE(this->filter(1.0));
    EXPECT_THAT(this->output_, Each(1));
    EXPECT_THAT(this->lane_.state(), ElementsAre(0.5));
}

TYPED_TEST(OneLaneAtRest, ComputesWhereTheInputOrTheStateIsAnother) {
    this->filter(1.0);
    EXPECT_TRUE(this->filter(3.0));
    EXPECT_EQ(this->output_[REST_ROWS - 1], 2);
    EXPECT_EQ(this->output_[REST_ROWS - 2], 3);
    EXPECT_TRUE(this->filter(1.0)); // from 3 / 2 now
    EXPECT_EQ(this->output_[REST_ROWS - 1], 2);
}

TYPED_TEST(OneLaneAtRest, TellsZerosOfEitherSignApart) {
    this->lane_.put_to_rest(0.0);
    this->filter(0.0);
    EXPECT_TRUE(this->filter(-0.0));
    EXPECT_FALSE(std::signbit(this->output_[REST_ROWS - 1])); // -0 + 0
    EXPECT_TRUE(std::signbit(this->output_[REST_ROWS - 2]));
}

TYPED_TEST(OneLaneAtRest, FiltersSamplesForTheirStateAlone) {
    std::array<TypeParam, REST_ROWS> samples{};
    samples.back() = 6;
    EXPECT_TRUE(this->lane_.filter_forward(samples.data()));
    EXPECT_THAT(this->lane_.state(), ElementsAre(3.0)); // half of the last sample
    this->lane_.put_to_rest(1.0);
    samples.fill(1);
    EXPECT_TRUE(this->lane_.filter_forward(samples.data()));
    EXPECT_FALSE(this->lane_.filter_forward(samples.data()));
}

// What the forward pass knows has no output.
TYPED_TEST(OneLaneAtRest, ComputesWhatItKnowsTheStateOfAlone) {
    std::array<TypeParam, REST_ROWS> samples{};
    samples.fill(1);
    EXPECT_TRUE(this->lane_.filter_forward(samples.data()));
    EXPECT_TRUE(this->filter(1.0));
    EXPECT_THAT(this->output_, Each(1));
}

TYPED_TEST(OneLaneAtRest, TakesRowsThatLieApart) {
    std::vector<double> rows(3 * REST_ROWS, 100.0);
    for (std::size_t i = 0; i < REST_ROWS; ++i) {
        rows[3 * i] = static_cast<double>(2 * i);
    }
    this->lane_.put_to_rest(0.0);
    this->lane_.filter_backward(&rows[3 * (REST_ROWS - 1)], 3, this->output_.data());
    EXPECT_EQ(this->output_[REST_ROWS - 1], 47); // (94 + 0) / 2
    EXPECT_EQ(this->output_[0], 1);              // (0 + 2) / 2
}

TYPED_TEST(OneLaneAtRest, FiltersAnyNumberOfSamplesInPlace) {
    for (const std::size_t count : {1U, 5U, 48U, 49U, 200U}) {
        this->lane_.put_to_rest(0.0);
        std::vector<double> samples(count);
        for (std::size_t i = 0; i < count; ++i) {
            samples[i] = static_cast<double>(2 * i);
        }
        this->lane_.filter(samples);
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_EQ(samples[i], i == 0 ? 0.0 : static_cast<double>(2 * i - 1));
        }
    }
}

TYPED_TEST(OneLaneAtRest, TellsWhenItHasMetAMissingSample) {
    EXPECT_FALSE(this->lane_.has_met_missing());
    this->filter(std::numeric_limits<double>::quiet_NaN());
    EXPECT_TRUE(this->lane_.has_met_missing());
}

} // namespace
} // namespace talvora::dsp
