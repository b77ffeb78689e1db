#include "dsp/filter_path.h"
#include "dsp/tile_pass.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>
#include <utility>
#include <vector>

namespace talvora::dsp {
namespace {

using testing::Each;
using testing::ElementsAre;

// Three taps, eight lanes on the baseline.
const PreparedFilter LOW = prepare_filter({{0.25, 0.5, 0.25}, {1.0, 0.0, 0.0}});
constexpr std::size_t LANE_COUNT = 8;
constexpr std::size_t ROW_COUNT = 2 * REST_ROWS;

template <class Sample>
class TilePassOfEightLanes : public testing::Test {
  protected:
    TilePassOfEightLanes() {
        for (std::size_t lane = 0; lane < LANE_COUNT; ++lane) {
            pass_.put_to_rest(lane, 0.0);
        }
        lines_.fill(samples_[0].data());
        std::ranges::transform(samples_, lines_.begin(),
                               [](std::vector<Sample>& line) { return line.data(); });
    }
    std::array<double, 2> state_of(std::size_t lane) const {
        std::array<double, 2> state{};
        pass_.get_lane_state(lane, state);
        return state;
    }
    PassScratch scratch_;
    const LaneKernels<Sample>& kernels_ = lane_kernels<Sample>(FilterPath::Baseline);
    TilePass<Sample> pass_{LOW, kernels_, LANE_COUNT, scratch_};
    std::vector<std::vector<Sample>> samples_ =
        std::vector(LANE_COUNT, std::vector<Sample>(ROW_COUNT));
    LaneLines<Sample> lines_{};
    std::vector<double> rows_ = std::vector<double>(ROW_COUNT * LANE_COUNT);
};

using SampleTypes = testing::Types<float, double>;
TYPED_TEST_SUITE(TilePassOfEightLanes, SampleTypes);

TYPED_TEST(TilePassOfEightLanes, KeepsTheStateOfEachLaneByItself) {
    this->pass_.set_lane_state(1, std::array{5.0, 7.0});
    this->pass_.put_to_rest(2, 4.0); // (1/2 + 1/4) * 4 and 1/4 * 4
    EXPECT_THAT(this->pass_.state(), ElementsAre(0, 5, 3, 0, 0, 0, 0, 0, 0, 7, 1, 0, 0, 0, 0, 0));
    this->pass_.copy_lane_state(1, 3);
    EXPECT_THAT(this->state_of(3), ElementsAre(5, 7));
    EXPECT_THAT(this->state_of(2), ElementsAre(3, 1));
}

TYPED_TEST(TilePassOfEightLanes, PutsAllLanesToRestAtOnce) {
    this->pass_.put_to_rest(std::array{0.0, 4.0, 8.0, 0.0, 0.0, 0.0, 0.0, -4.0}.data());
    EXPECT_THAT(this->pass_.state(), ElementsAre(0, 3, 6, 0, 0, 0, 0, -3, 0, 1, 2, 0, 0, 0, 0, -1));
}

TYPED_TEST(TilePassOfEightLanes, TellsWhenALaneHasMetAMissingSample) {
    EXPECT_FALSE(this->pass_.has_met_missing());
    this->samples_[5][3] = std::numeric_limits<TypeParam>::quiet_NaN();
    this->pass_.filter_forward(read_only(this->lines_), TILE_ROWS, nullptr);
    EXPECT_TRUE(this->pass_.has_met_missing());
}

// Seven lanes rest on nothing; the impulse in the last one is over before the second block.
TYPED_TEST(TilePassOfEightLanes, FiltersOneLaneWhileOthersRest) {
    this->samples_[7][0] = 4;
    this->samples_[7][REST_ROWS + 1] = 8;
    for (std::size_t again = 0; again < 2; ++again) {
        this->pass_.filter_forward(read_only(this->lines_), ROW_COUNT, this->rows_.data());
        for (std::size_t row = 0; row < ROW_COUNT; ++row) {
            double expected = row < 3 ? (row == 1 ? 2.0 : 1.0) : 0.0;
            if (row > REST_ROWS && row < REST_ROWS + 4) {
                expected = row == REST_ROWS + 2 ? 4.0 : 2.0;
            }
            for (std::size_t lane = 0; lane < LANE_COUNT; ++lane) {
                ASSERT_EQ(this->rows_[row * LANE_COUNT + lane], lane == 7 ? expected : 0.0)
                    << "row " << row << " of lane " << lane;
            }
        }
    }
}

// Sums of all samples before, which seven lanes keep close to the smallest numbers.
TYPED_TEST(TilePassOfEightLanes, FiltersOneLaneWhileFaintOnesRest) {
    const PreparedFilter sum = prepare_filter({{0.0, 1.0, 0.0}, {1.0, -1.0, 0.0}});
    TilePass<TypeParam> pass(sum, this->kernels_, LANE_COUNT, this->scratch_);
    const auto sum_in = [](std::size_t lane) { return 1e-310 * static_cast<double>(lane + 1); };
    for (std::size_t lane = 0; lane < LANE_COUNT; ++lane) {
        pass.set_lane_state(lane, std::array{lane == 7 ? 0.0 : sum_in(lane), 0.0});
    }
    this->samples_[7][REST_ROWS + 1] = 8;
    pass.filter_forward(read_only(this->lines_), ROW_COUNT, this->rows_.data());
    for (std::size_t i = 0; i < this->rows_.size(); ++i) {
        const bool is_late = i / LANE_COUNT > REST_ROWS + 1;
        ASSERT_EQ(this->rows_[i],
                  i % LANE_COUNT == 7 ? (is_late ? 8.0 : 0.0) : sum_in(i % LANE_COUNT))
            << "row " << i / LANE_COUNT << " of lane " << i % LANE_COUNT;
    }
    EXPECT_THAT(pass.state().first(LANE_COUNT),
                ElementsAre(sum_in(0), sum_in(1), sum_in(2), sum_in(3), sum_in(4), sum_in(5),
                            sum_in(6), 8.0));
}

TYPED_TEST(TilePassOfEightLanes, LeavesTheRowsAsTheyAreOnTheWayBack) {
    this->rows_[(ROW_COUNT - 1) * LANE_COUNT + 6] = 4.0;
    this->rows_[20 * LANE_COUNT + 6] = 8.0;
    const std::vector<double> before = this->rows_;
    for (const LaneLines<TypeParam>* lines :
         {static_cast<const LaneLines<TypeParam>*>(nullptr), &std::as_const(this->lines_)}) {
        this->pass_.filter_backward(this->rows_.data(), ROW_COUNT, lines);
        EXPECT_EQ(this->rows_, before);
    }
    for (std::size_t lane = 0; lane < LANE_COUNT; ++lane) {
        std::vector<TypeParam> expected(ROW_COUNT);
        if (lane == 6) {
            expected[ROW_COUNT - 1] = expected[ROW_COUNT - 3] = 1;
            expected[ROW_COUNT - 2] = 2;
            expected[20] = expected[18] = 2;
            expected[19] = 4;
        }
        EXPECT_EQ(this->samples_[lane], expected) << "lane " << lane;
    }
}

TEST(ShiftLines, MovesEveryLine) {
    std::array<float, 4> samples{};
    LaneLines<float> lines;
    lines.fill(samples.data());
    lines[3] = samples.data() + 1;
    const LaneLines<float> later = shift_lines(lines, 2);
    EXPECT_EQ(later[0], samples.data() + 2);
    EXPECT_EQ(later[3], samples.data() + 3);
    EXPECT_EQ(shift_lines(later, -2), lines);
}

} // namespace
} // namespace talvora::dsp
