#include "dsp/zero_phase_filter.h"
#include "tests/support/special_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <vector>

namespace talvora::dsp {
namespace {

using testing::DoubleEq;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pointwise;

using Samples = std::vector<double>;

constexpr double ROUNDING_UNIT = std::numeric_limits<double>::epsilon();

// A third of a second-order low pass whose values are easy by hand: b sums to 1, a to 3/4.
const Samples LOW_B = {0.25, 0.5, 0.25};
const Samples LOW_A = {1.0, -0.5, 0.25};

// The mean of a sample and the one before: [1 2 1] / 4 over both passes.
const Samples MEAN_B = {0.5, 0.5};
const Samples MEAN_A = {1.0};

Samples zero_phase_filter(const Samples& x, const Samples& b, const Samples& a) {
    return dsp::zero_phase_filter(x, prepare_filter({b, a}));
}

TEST(SteadyStateInitialConditions, FollowsTheClosedFormForTwoTaps) {
    // (0.5 + 0.5 * 0.5) / (1 - 0.5)
    EXPECT_THAT(steady_state_initial_conditions(Samples{0.5, 0.5}, Samples{1.0, -0.5}),
                ElementsAre(1.5));
    // Nothing over nothing: (-1 + 1 * 1) / (1 - 1)
    EXPECT_THAT(steady_state_initial_conditions(Samples{1.0, -1.0}, Samples{1.0, -1.0}),
                ElementsAre(testing::IsNan()));
}

TEST(SteadyStateInitialConditions, HoldsTheGainOnAConstantInput) {
    // With the gain 4/3 as output: z1 = 1/4 - 1/4 * 4/3, z0 = z1 + 1/2 + 1/2 * 4/3.
    EXPECT_THAT(steady_state_initial_conditions(LOW_B, LOW_A),
                ElementsAre(DoubleEq(13.0 / 12.0), DoubleEq(-1.0 / 12.0)));
}

TEST(SteadyStateInitialConditions, AreMissingWithAMissingCoefficient) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THAT(steady_state_initial_conditions(Samples{1, 0, nan}, Samples{1, 0, 0}),
                Each(testing::IsNan()));
    EXPECT_THAT(steady_state_initial_conditions(Samples(100'001, nan), Samples(100'001, nan)),
                testing::AllOf(testing::SizeIs(100'000), Each(testing::IsNan())));
}

TEST(SteadyStateInitialConditions, AreNoneWithoutAState) {
    EXPECT_THAT(steady_state_initial_conditions(Samples{2.0}, Samples{1.0}), IsEmpty());
    EXPECT_THAT(steady_state_initial_conditions(Samples{}, Samples{}), IsEmpty());
}

TEST(LinearFilter, AveragesNeighbours) {
    EXPECT_THAT(linear_filter(MEAN_B, MEAN_A, Samples{2, 4, 8}, Samples{0}), ElementsAre(1, 3, 6));
}

TEST(LinearFilter, DecaysGeometricallyFromItsInitialState) {
    EXPECT_THAT(linear_filter(Samples{1}, Samples{1, -0.5}, Samples{0, 0, 0, 0}, Samples{8}),
                ElementsAre(8, 4, 2, 1));
}

TEST(LinearFilter, RunsThreeTapsAsWorkedByHand) {
    // y0 = 1/4 * 4 + 1; z = {2 + 1/2 + 1/2 * 2, 1 - 1/4 * 2}, and on from there.
    EXPECT_THAT(linear_filter(LOW_B, LOW_A, Samples{4, 0, 0}, Samples{1.0, 0.5}),
                ElementsAre(2.0, 3.5, 2.25));
}

TEST(LinearFilter, DividesByTheLeadingCoefficient) {
    EXPECT_THAT(linear_filter(Samples{1, 1}, Samples{2}, Samples{2, 4, 8}, Samples{0}),
                ElementsAre(1, 3, 6));
}

TEST(LinearFilter, TakesALeadingCoefficientWithinOneRoundingUnitAsOne) {
    const double largest = 1.0 + ROUNDING_UNIT;
    EXPECT_THAT(linear_filter(Samples{3.0}, Samples{largest}, Samples{1}, Samples{}),
                ElementsAre(3.0));
    EXPECT_THAT(
        linear_filter(Samples{3.0}, Samples{1.0 + 2.0 * ROUNDING_UNIT}, Samples{1}, Samples{}),
        ElementsAre(testing::Lt(3.0)));
}

TEST(LinearFilter, GivesTheInputBackAndSaysSoWhenThereIsNoLeadingCoefficient) {
    testing::internal::CaptureStderr();
    EXPECT_THAT(linear_filter(MEAN_B, Samples{0, 1}, Samples{2, 4, 8}, Samples{0}),
                ElementsAre(2, 4, 8));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Impossible to filter the signal, the first element of the denominator is equal to "
              "0.\n");
}

TEST(LinearFilter, GivesTheInputBackWithoutATap) {
    EXPECT_THAT(linear_filter(Samples{}, Samples{}, Samples{2, 4, 8}, Samples{}),
                ElementsAre(2, 4, 8));
}

TEST(ZeroPhaseFilter, WeighsNeighboursSymmetricallyAndKeepsTheEnds) {
    // [1 2 1] / 4 inside; at the ends the odd reflection makes it the sample itself.
    EXPECT_THAT(zero_phase_filter(Samples{0, 4, 0, 8, 4}, MEAN_B, MEAN_A),
                ElementsAre(0, 2, 3, 5, 4));
}

TEST(ZeroPhaseFilter, KeepsAConstantSignal) {
    const Samples constant(50, 7.5);
    const Samples b = {0.1875, 0.375, 0.1875}; // sums to 3/4 as LOW_A does
    EXPECT_THAT(zero_phase_filter(constant, b, LOW_A), Pointwise(DoubleEq(), constant));
}

TEST(ZeroPhaseFilter, RespondsSymmetricallyToAnImpulseInTheMiddle) {
    Samples impulse(401, 0.0);
    impulse[200] = 1.0;
    const Samples response = zero_phase_filter(impulse, LOW_B, LOW_A);
    EXPECT_GT(response[200], 0.1);
    for (std::size_t distance = 1; distance <= 200; ++distance) {
        EXPECT_NEAR(response[200 - distance], response[200 + distance], 1e-15) << distance;
    }
}

TEST(ZeroPhaseFilter, IsAPureGainWithOneTap) {
    EXPECT_THAT(zero_phase_filter(Samples{1, -2}, Samples{1}, Samples{1}), ElementsAre(1, -2));
    EXPECT_THAT(zero_phase_filter(Samples{1, -2}, Samples{3}, Samples{1}), ElementsAre(9, -18));
    EXPECT_THAT(zero_phase_filter(Samples{1, -2}, Samples{3}, Samples{2}), ElementsAre(2.25, -4.5));
}

TEST(ZeroPhaseFilter, GivesTheRunBackWithoutAFilter) {
    EXPECT_THAT(zero_phase_filter(Samples{1, 2}, Samples{}, Samples{}), ElementsAre(1, 2));
}

TEST(ZeroPhaseFilter, SpreadsAnInfinityThroughTheRun) {
    Samples x(30, 1.0);
    x[15] = INF_DOUBLE;
    EXPECT_THAT(zero_phase_filter(x, LOW_B, LOW_A), Each(testing::IsNan()));
}

TEST(ZeroPhaseFilter, GivesNaNForALeadingCoefficientOfZero) {
    EXPECT_THAT(zero_phase_filter(Samples(20, 1.0), LOW_B, Samples{0.0, 1.0, 0.5}),
                Each(testing::IsNan()));
}

TEST(ZeroPhaseFilter, RefusesARunWithinItsPadding) {
    EXPECT_THROW(zero_phase_filter(Samples(6, 1.0), LOW_B, LOW_A), std::invalid_argument);
    EXPECT_EQ(zero_phase_filter(Samples(7, 1.0), LOW_B, LOW_A).size(), 7U);
}

// scipy.signal.filtfilt(b, a, x, padlen=pad_count) with b, a = scipy.signal.butter(2, 0.3), SciPy
// 1.10.1.
TEST(ZeroPhaseFilter, AgreesWithAnIndependentToolForAnyPadding) {
    const FilterCoefficients design = {
        {0.13110643991662593, 0.26221287983325187, 0.13110643991662593},
        {1.0, -0.7477891782585034, 0.27221493792500717}};
    const struct {
        std::size_t pad_count;
        Samples expected;
    } cases[] = {{0,
                  {0.6641104826385469, 0.8177755671564876, 0.9602301602481609, 0.6547455292035004,
                   0.23620908169097785, 0.4454322936048236, 1.2780307397405015, 2.1541254123603317,
                   2.6329788128589042, 2.7608196368037454, 2.816276401900754, 2.851033362316933}},
                 {5,
                  {1.0327802038083564, 1.0762115923248348, 1.0633486202855331, 0.6813433302417173,
                   0.24497716963982621, 0.41843541933135253, 1.1209090535714292, 1.7710362721797992,
                   2.133754465266729, 2.792524786988723, 4.7407121762191675, 8.024782264924529}},
                 {9, // the tool's own choice, 3 * 3
                  {1.000851967424929, 1.0718218799202206, 1.068738928073442, 0.6864420899588756,
                   0.24704156857416257, 0.41828560557683653, 1.1204281430176688, 1.7723704388113943,
                   2.1387146574202496, 2.8003239884229334, 4.743351624413165, 8.003212442146598}}};
    for (const auto& [pad_count, expected] : cases) {
        EXPECT_THAT(dsp::zero_phase_filter(Samples{1, -2, 3, 5, -7, 4, 0, 2, 6, -1, 3, 8},
                                           prepare_filter(design, pad_count)),
                    Pointwise(testing::DoubleNear(1e-14), expected))
            << pad_count;
    }
}

// scipy.signal.filtfilt([0.25, 0.5, 0.25], [1.0], x, padlen=6) with a sample of x in place of 3, -2
// or none.
TEST(ZeroPhaseConvolution, AgreesWithAnIndependentTool) {
    const PreparedFilter filter = prepare_filter({{0.25, 0.5, 0.25}, {1.0}});
    const Samples expected = {1.0,    0.8125, 1.5,    1.0, -0.1875, 0.1875,
                              1.4375, 2.4375, 2.6875, 2.5, 4.0625,  8.0};
    const struct {
        std::size_t place; // of what is no number
        std::size_t first; // and which results are none
        std::size_t last;
    } cases[] = {{6, 4, 8}, {1, 0, 3}, {0, 0, 2}};
    for (const double value : {std::numeric_limits<double>::quiet_NaN(), INF_DOUBLE}) {
        for (const auto& [place, first, last] : cases) {
            Samples x = {1, -2, 3, 5, -7, 4, 0, 2, 6, -1, 3, 8};
            x[place] = value;
            const Samples y = zero_phase_convolution(x, filter);
            for (std::size_t i = 0; i < y.size(); ++i) {
                if (i < first || i > last) {
                    EXPECT_DOUBLE_EQ(y[i], expected[i]) << place;
                } else {
                    EXPECT_FALSE(std::isfinite(y[i])) << place << ", " << i;
                }
            }
        }
    }
}

TEST(ZeroPhaseConvolution, GivesWhatTheRecurrenceGivesOfNumbers) {
    const Samples x = {1, -2, 3, 5, -7, 4, 0, 2, 6, -1, 3, 8};
    for (const Samples& b : {Samples{2}, Samples{0.5, 0.5}, Samples{0.3, -0.1, 0.2, 0.7}}) {
        const PreparedFilter filter = prepare_filter({b, {1.0}}, 4);
        EXPECT_EQ(zero_phase_convolution(x, filter), dsp::zero_phase_filter(x, filter));
    }
}

TEST(PrepareFilter, ScalesAndPadsToOneLength) {
    const PreparedFilter filter = prepare_filter({{2, 4}, {4, 2, 1}});
    EXPECT_THAT(filter.b, ElementsAre(0.5, 1.0, 0.0));
    EXPECT_THAT(filter.a, ElementsAre(1.0, 0.5, 0.25));
    EXPECT_EQ(filter.pad_count(), 6U);
}

TEST(PrepareFilter, KeepsThePaddingThatIsAskedFor) {
    EXPECT_EQ(prepare_filter({LOW_B, LOW_A}).padding.least_length, 8U);
    for (const std::size_t pad_count : {0U, 9U}) {
        const PreparedFilter filter = prepare_filter({LOW_B, LOW_A}, pad_count);
        EXPECT_EQ(filter.pad_count(), pad_count);
        EXPECT_EQ(filter.padding.least_length, pad_count + 1);
    }
    EXPECT_EQ(prepare_filter({}).pad_count(), 0U);
}

TEST(PreparedFilter, HasFeedbackWhereAResultDependsOnEarlierOnes) {
    EXPECT_FALSE(PreparedFilter().has_feedback());
    EXPECT_FALSE(prepare_filter({{1}, {2}}).has_feedback());
    EXPECT_FALSE(prepare_filter({{1, 2, 3}, {2, 0}}).has_feedback());
    EXPECT_TRUE(prepare_filter({{1}, {1, 0, 0.5}}).has_feedback());
}

TEST(PrepareFilter, ScalesFromOneRoundingUnitOn) {
    EXPECT_EQ(prepare_filter({{3}, {1.0 + ROUNDING_UNIT}}).a[0], 1.0);
    EXPECT_EQ(prepare_filter({{3}, {1.0 - ROUNDING_UNIT / 2}}).b[0], 3.0);
}

} // namespace
} // namespace talvora::dsp
