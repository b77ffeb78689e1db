#include "dsp/butterworth_design.h"
#include "tests/support/special_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>

namespace talvora::dsp {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNan;
using testing::SizeIs;

constexpr Bandform LOW_PASS = Bandform::ZeroLagLowPass;
constexpr Bandform HIGH_PASS = Bandform::ZeroLagHighPass;
constexpr Bandform BAND_PASS = Bandform::ZeroLagBandPass;
constexpr Bandform BAND_STOP = Bandform::ZeroLagBandStop;
constexpr Bandform ALL_FORMS[] = {LOW_PASS, HIGH_PASS, BAND_PASS, BAND_STOP};

FilterCoefficients design(const ButterworthParameters& parameters, float sample_rate) {
    return build_design_cache({&sample_rate, 1}, parameters).at(sample_rate);
}

// The response of one pass at z = 1 (sign 1) or z = -1 (sign -1).
double response_at(double sign, const FilterCoefficients& filter) {
    const auto evaluate = [sign](double sum, double coefficient) {
        return sum * sign + coefficient;
    };
    return std::accumulate(filter.b.begin(), filter.b.end(), 0.0, evaluate) /
           std::accumulate(filter.a.begin(), filter.a.end(), 0.0, evaluate);
}

TEST(TwoPassCorrection, IsAFixedFactor) {
    EXPECT_EQ(two_pass_correction(), 1.246504702770927);
}

TEST(ComputeEdges, MovesTheCutoffByTheCorrection) {
    const EdgePair edges = compute_edges({10.0, 4, 0.0, LOW_PASS}, 100.0);
    EXPECT_EQ(edges[0], 0.24930094055418542);
    EXPECT_EQ(edges[1], -1.0);
    EXPECT_EQ(compute_edges({10.0, 4, 0.0, HIGH_PASS}, 100.0), edges);
}

TEST(ComputeEdges, PutsTheBandAroundTheCutoff) {
    for (const Bandform form : {BAND_PASS, BAND_STOP}) {
        const EdgePair edges = compute_edges({50.0, 4, 20.0, form}, 1000.0);
        EXPECT_DOUBLE_EQ(edges[0], 0.08 * 1.246504702770927);
        EXPECT_DOUBLE_EQ(edges[1], 0.12 * 1.246504702770927);
    }
}

TEST(ComputeEdges, ReachesExactlyZeroWithABandFromZero) {
    EXPECT_EQ(compute_edges({50.0, 4, 100.0, BAND_STOP}, 1000.0)[0], 0.0);
}

TEST(ComputePassOrder, HalvesAndLosesAnOddOne) {
    EXPECT_EQ(compute_pass_order(1), 0);
    EXPECT_EQ(compute_pass_order(4), 2);
    EXPECT_EQ(compute_pass_order(5), 2);
    EXPECT_EQ(compute_pass_order(std::numeric_limits<std::int32_t>::max()), 1'073'741'823);
}

TEST(ButterworthPrototype, HasNoPolesAtOrderZero) {
    EXPECT_THAT(butterworth_prototype(0), IsEmpty());
}

TEST(ButterworthPrototype, HasItsSinglePoleAtMinusOne) {
    const auto poles = butterworth_prototype(1);
    ASSERT_THAT(poles, SizeIs(1));
    EXPECT_EQ(poles[0].real(), -1.0);
    EXPECT_NEAR(poles[0].imag(), 0.0, 1e-16);
}

TEST(ButterworthPrototype, ListsThePolesFromTheUpperOne) {
    const auto poles = butterworth_prototype(3);
    const double height = std::sqrt(3.0) / 2.0;
    ASSERT_THAT(poles, SizeIs(3));
    EXPECT_LT(std::abs(poles[0] - std::complex(-0.5, height)), 2.5e-16);
    EXPECT_LT(std::abs(poles[1] - std::complex(-1.0, 0.0)), 2.5e-16);
    EXPECT_LT(std::abs(poles[2] - std::complex(-0.5, -height)), 5e-16);
}

// With T = tan(pi edge / 2) the low pass of first order is T (z + 1) / ((T + 1) z + T - 1),
// and the high pass (z - 1) / ((T + 1) z + T - 1).
TEST(DesignButterworth, FollowsTheClosedFormOfFirstOrderBeyondNyquistToo) {
    for (const double edge : {0.01, 0.5, 0.9972, 1.496, -0.3}) {
        const double tangent = std::tan(std::numbers::pi * edge / 2.0);
        std::vector<double> b;
        std::vector<double> a;
        ASSERT_TRUE(design_butterworth(1, {edge, -1.0}, LOW_PASS, b, a));
        EXPECT_THAT(b, Each(testing::DoubleEq(tangent / (1.0 + tangent))));
        EXPECT_THAT(a, ElementsAre(1.0, testing::DoubleNear((tangent - 1.0) / (tangent + 1.0),
                                                            1e-15 / std::abs(tangent + 1.0))));
        ASSERT_TRUE(design_butterworth(1, {edge, -1.0}, HIGH_PASS, b, a));
        EXPECT_THAT(b, ElementsAre(testing::DoubleEq(1.0 / (1.0 + tangent)),
                                   testing::DoubleEq(-1.0 / (1.0 + tangent))));
    }
}

TEST(DesignButterworth, PassesEverythingAtOrderZeroInEveryForm) {
    for (const Bandform form : ALL_FORMS) {
        for (const double edge : {0.1, 0.0, NaN_DOUBLE, INF_DOUBLE}) {
            std::vector<double> b;
            std::vector<double> a;
            ASSERT_TRUE(design_butterworth(0, {edge, has_band(form) ? 0.2 : -1.0}, form, b, a));
            EXPECT_THAT(b, ElementsAre(1.0));
            EXPECT_THAT(a, ElementsAre(1.0));
        }
    }
}

TEST(DesignButterworth, FailsWithEmptyVectorsWhenASingleEdgeFormHasTwo) {
    for (const Bandform form : {LOW_PASS, HIGH_PASS}) {
        for (const double second : {0.5, 0.0, 1.0, NaN_DOUBLE, std::nextafter(-1.0, 0.0)}) {
            std::vector<double> b = {1.0};
            std::vector<double> a = {1.0};
            EXPECT_FALSE(design_butterworth(2, {0.2, second}, form, b, a));
            EXPECT_THAT(b, IsEmpty());
            EXPECT_THAT(a, IsEmpty());
        }
    }
}

TEST(DesignButterworth, FailsWithEmptyVectorsOnAnUnknownForm) {
    for (const std::int32_t form : {4, -1, std::numeric_limits<std::int32_t>::min()}) {
        std::vector<double> b = {1.0};
        std::vector<double> a = {1.0};
        EXPECT_FALSE(design_butterworth(2, {0.2, -1.0}, static_cast<Bandform>(form), b, a));
        EXPECT_THAT(b, IsEmpty());
        EXPECT_THAT(a, IsEmpty());
    }
}

TEST(DesignButterworth, HasUnitGainInThePassBand) {
    for (const std::int32_t order : {1, 2, 3, 4}) {
        std::vector<double> b;
        std::vector<double> a;
        design_butterworth(order, {0.25, -1.0}, LOW_PASS, b, a);
        EXPECT_NEAR(response_at(1.0, {b, a}), 1.0, 1e-12);
        design_butterworth(order, {0.25, -1.0}, HIGH_PASS, b, a);
        EXPECT_NEAR(std::abs(response_at(-1.0, {b, a})), 1.0, 1e-12);
        design_butterworth(order, {0.25, 0.5}, BAND_STOP, b, a);
        EXPECT_NEAR(response_at(1.0, {b, a}), 1.0, 1e-12);
        EXPECT_NEAR(response_at(-1.0, {b, a}), 1.0, 1e-12);
    }
}

TEST(DesignButterworth, HasNotANumberAloneBeyondTheLargestFiniteDegree) {
    for (const std::int32_t order : {512, 5000}) {
        std::vector<double> b;
        std::vector<double> a;
        EXPECT_TRUE(design_butterworth(order, {0.2, -1.0}, LOW_PASS, b, a));
        EXPECT_THAT(b, AllOf(SizeIs(order + 1), Each(IsNan())));
        EXPECT_THAT(a, AllOf(SizeIs(order + 1), Each(IsNan())));
    }
}

TEST(DesignButterworth, HasNoFilterBeyondTheLargestDegree) {
    std::vector<double> b;
    std::vector<double> a;
    EXPECT_FALSE(design_butterworth(1'000'000'000, {0.2, -1.0}, LOW_PASS, b, a));
    EXPECT_FALSE(design_butterworth(1'073'741'823, {0.2, 0.3}, BAND_STOP, b, a));
    EXPECT_THAT(b, IsEmpty());
    EXPECT_THAT(a, IsEmpty());
}

TEST(BuildDesignCache, GivesOneFilterOfTheFormsLengthToEachRate) {
    for (const Bandform form : ALL_FORMS) {
        const FilterCoefficients filter =
            design({10.0, 5, has_band(form) ? 4.0 : 0.0, form}, 100.0F);
        EXPECT_THAT(filter.b, SizeIs(has_band(form) ? 5 : 3));
        EXPECT_THAT(filter.a, SizeIs(has_band(form) ? 5 : 3));
        EXPECT_EQ(filter.a.front(), 1.0);
    }
}

TEST(BuildDesignCache, HasUnitGainAtZeroFrequencyForALowPass) {
    EXPECT_NEAR(response_at(1.0, design({10.0, 4, 0.0, LOW_PASS}, 100.0F)), 1.0, 1e-14);
}

TEST(BuildDesignCache, SharesADesignAndSkipsRatesThatAreNotFinite) {
    constexpr float RATES[] = {
        100.0F, std::numeric_limits<float>::quiet_NaN(), 200.0F,
        100.0F, std::numeric_limits<float>::infinity(),  -std::numeric_limits<float>::infinity()};
    const DesignCache cache = build_design_cache(RATES, {10.0, 4, 0.0, LOW_PASS});
    ASSERT_THAT(cache, SizeIs(2));
    EXPECT_NE(cache.at(100.0F).a, cache.at(200.0F).a);
}

TEST(BuildDesignCache, KeepsAnEmptyFilterForAFailedDesign) {
    for (const std::int32_t form : {4, -1}) {
        const FilterCoefficients filter =
            design({10.0, 4, 0.0, static_cast<Bandform>(form)}, 100.0F);
        EXPECT_THAT(filter.b, IsEmpty());
        EXPECT_THAT(filter.a, IsEmpty());
    }
    EXPECT_THAT(design({10.0, 2'000'000'000, 0.0, LOW_PASS}, 100.0F).a, IsEmpty());
}

TEST(BuildDesignCache, PassesEverythingAtOrderOne) {
    for (const Bandform form : ALL_FORMS) {
        const FilterCoefficients filter = design({10.0, 1, 4.0, form}, 100.0F);
        EXPECT_THAT(filter.b, ElementsAre(1.0));
        EXPECT_THAT(filter.a, ElementsAre(1.0));
    }
}

TEST(BuildDesignCache, RunsNotANumberThrough) {
    for (const ButterworthParameters& parameters :
         {ButterworthParameters{NaN_DOUBLE, 4, 0.0, LOW_PASS},
          ButterworthParameters{NaN_DOUBLE, 4, 0.0, HIGH_PASS},
          ButterworthParameters{10.0, 4, NaN_DOUBLE, BAND_STOP},
          ButterworthParameters{INF_DOUBLE, 4, 5.0, BAND_PASS},
          // A band from below zero has a centre that is not real.
          ButterworthParameters{10.0, 4, 30.0, BAND_PASS}}) {
        const FilterCoefficients filter = design(parameters, 100.0F);
        EXPECT_THAT(filter.a, AllOf(SizeIs(has_band(parameters.bandform) ? 5 : 3), Each(IsNan())));
        EXPECT_THAT(filter.b, SizeIs(filter.a.size()));
    }
}

TEST(BuildDesignCache, DesignsABandFromZero) {
    // The centre is at zero, so the band stop is a high pass: zeros at z = 1 alone.
    const FilterCoefficients filter = design({10.0, 2, 20.0, BAND_STOP}, 100.0F);
    EXPECT_NEAR(response_at(-1.0, filter), 1.0, 1e-14);
    ASSERT_THAT(filter.b, SizeIs(3));
    EXPECT_DOUBLE_EQ(filter.b[1], -2.0 * filter.b[0]);
    EXPECT_DOUBLE_EQ(filter.b[2], filter.b[0]);
}

TEST(BuildDesignCache, DesignsABandOfNoWidth) {
    // The band pass becomes infinitely wide, the band stop infinitely narrow.
    EXPECT_THAT(design({10.0, 2, 0.0, BAND_PASS}, 100.0F).a, SizeIs(3));
    const FilterCoefficients filter = design({10.0, 2, 0.0, BAND_STOP}, 100.0F);
    ASSERT_THAT(filter.a, SizeIs(3));
    for (std::size_t j = 0; j < 3; ++j) {
        EXPECT_DOUBLE_EQ(filter.b[j], filter.a[j]);
    }
}

} // namespace
} // namespace talvora::dsp
