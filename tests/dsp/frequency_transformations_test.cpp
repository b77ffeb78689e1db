#include "dsp/frequency_transformations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

namespace talvora::dsp {
namespace {

using testing::ElementsAre;
using testing::IsNan;
using Complex = std::complex<double>;

const AnalogFilter FIRST_ORDER = {{1.0}, {1.0, 1.0}}; // 1 / (s + 1)

// (2s + 1) / (s^3 + 4s^2 + (5 + i)s + 7): no symmetry to hide behind.
const AnalogFilter THIRD_ORDER = {{2.0, 1.0}, {1.0, 4.0, {5.0, 1.0}, 7.0}};

Complex evaluate(const ComplexPolynomial& polynomial, Complex s) {
    Complex value = 0.0;
    for (const Complex coefficient : polynomial) {
        value = value * s + coefficient;
    }
    return value;
}

Complex evaluate(const AnalogFilter& filter, Complex s) {
    return evaluate(filter.b, s) / evaluate(filter.a, s);
}

// H'(s) = H(substitution(s)) is what a frequency transformation means.
template <typename Substitution>
void expect_substituted(const AnalogFilter& original, const AnalogFilter& result,
                        Substitution substitution) {
    for (const Complex s : {Complex(0.3, 0.7), Complex(-1.1, 2.0), Complex(4.0, -0.2)}) {
        const Complex expected = evaluate(original, substitution(s));
        EXPECT_LT(std::abs(evaluate(result, s) - expected), 1e-13 * std::abs(expected));
    }
}

TEST(ExpandRoots, GivesOneWithoutRoots) {
    EXPECT_THAT(expand_roots({}), ElementsAre(1.0));
}

TEST(ExpandRoots, MultipliesOutLinearFactors) { // (s - 1)(s - 2)(s - 3)
    const ComplexPolynomial roots = {1.0, 2.0, 3.0};
    EXPECT_THAT(expand_roots(roots), ElementsAre(1.0, -6.0, 11.0, -6.0));
}

TEST(ExpandRoots, MultipliesOutAConjugatePair) { // s^2 - 4s + 13
    const ComplexPolynomial roots = {{2.0, 3.0}, {2.0, -3.0}};
    EXPECT_THAT(expand_roots(roots), ElementsAre(1.0, -4.0, 13.0));
}

TEST(NormalizeTransferFunction, DividesByTheLeadingDenominator) {
    std::vector<double> b = {6.0, 1.0};
    std::vector<double> a = {4.0, 2.0};
    normalize_transfer_function(b, a);
    EXPECT_THAT(b, ElementsAre(1.5, 0.25));
    EXPECT_THAT(a, ElementsAre(1.0, 0.5));
}

TEST(NormalizeTransferFunction, DividesComplexCoefficients) {
    ComplexPolynomial b = {{2.0, 2.0}};
    ComplexPolynomial a = {{1.0, 1.0}, {0.0, 4.0}};
    normalize_transfer_function(b, a);
    EXPECT_THAT(b, ElementsAre(2.0));
    EXPECT_THAT(a, ElementsAre(Complex(1.0), Complex(2.0, 2.0)));
}

// Each product and sum rounded by itself, in Python; the last digits are others where two are
// rounded at once: ...10de and ...7378, ...b032 and ...72ff.
TEST(NormalizeTransferFunction, RoundsProductsAndSumsOneByOne) {
    ComplexPolynomial b = {{0.194, -1.954}};
    ComplexPolynomial a = {{-0.339, 0.32}};
    normalize_transfer_function(b, a);
    EXPECT_THAT(b, ElementsAre(Complex(-0x1.9704feede10dfp+1, 0x1.619617aa67379p+1)));
    b = {{1.422, -1.323}};
    a = {{-0.653, 0.601}};
    normalize_transfer_function(b, a);
    EXPECT_THAT(b, ElementsAre(Complex(-0x1.1820f4b22b033p+1, 0x1.82cbad90472d2p-7)));
}

TEST(NormalizeTransferFunction, DropsLeadingZerosOfTheDenominatorAlone) {
    std::vector<double> b = {0.0, 2.0};
    std::vector<double> a = {0.0, -0.0, 2.0, 4.0};
    normalize_transfer_function(b, a);
    EXPECT_THAT(b, ElementsAre(0.0, 1.0));
    EXPECT_THAT(a, ElementsAre(1.0, 2.0));
}

TEST(NormalizeTransferFunction, KeepsTheLastDenominatorEvenIfItIsZero) {
    std::vector<double> b = {1.0};
    std::vector<double> a = {0.0, 0.0};
    normalize_transfer_function(b, a);
    EXPECT_TRUE(std::isinf(b.at(0)));
    EXPECT_THAT(a, ElementsAre(IsNan()));
}

TEST(LowpassToLowpass, MovesTheEdge) { // 4 / (s + 4)
    const AnalogFilter moved = lowpass_to_lowpass(FIRST_ORDER, 4.0);
    EXPECT_THAT(moved.b, ElementsAre(4.0));
    EXPECT_THAT(moved.a, ElementsAre(1.0, 4.0));
}

TEST(LowpassToLowpass, TakesALongerNumerator) {
    // (s^2 + 2s + 3) / (s + 1) at s / 2: (s^2/2 + 2s + 6) / (s + 2)
    const AnalogFilter moved = lowpass_to_lowpass({{1.0, 2.0, 3.0}, {1.0, 1.0}}, 2.0);
    EXPECT_THAT(moved.b, ElementsAre(0.5, 2.0, 6.0));
    EXPECT_THAT(moved.a, ElementsAre(1.0, 2.0));
}

TEST(LowpassToLowpass, SubstitutesTheVariable) {
    expect_substituted(THIRD_ORDER, lowpass_to_lowpass(THIRD_ORDER, 1.7),
                       [](Complex s) { return s / 1.7; });
}

TEST(LowpassToHighpass, TurnsTheLowPassAround) { // s / (s + 4)
    const AnalogFilter moved = lowpass_to_highpass(FIRST_ORDER, 4.0);
    EXPECT_THAT(moved.b, ElementsAre(1.0, 0.0));
    EXPECT_THAT(moved.a, ElementsAre(1.0, 4.0));
}

TEST(LowpassToHighpass, TakesALongerNumerator) {
    // (s^2 + 2s + 3) / (s + 1) at 2 / s: (3s^2 + 4s + 4) / (s^2 + 2s)
    const AnalogFilter moved = lowpass_to_highpass({{1.0, 2.0, 3.0}, {1.0, 1.0}}, 2.0);
    EXPECT_THAT(moved.b, ElementsAre(3.0, 4.0, 4.0));
    EXPECT_THAT(moved.a, ElementsAre(1.0, 2.0, 0.0));
}

TEST(LowpassToHighpass, SubstitutesTheVariable) {
    expect_substituted(THIRD_ORDER, lowpass_to_highpass(THIRD_ORDER, 1.7),
                       [](Complex s) { return 1.7 / s; });
}

TEST(LowpassToBandpass, HasTheInverseOfItsArgumentAsWidth) { // s/4 / (s^2 + s/4 + 4)
    const AnalogFilter moved = lowpass_to_bandpass(FIRST_ORDER, 2.0, 4.0);
    EXPECT_THAT(moved.b, ElementsAre(0.25, 0.0));
    EXPECT_THAT(moved.a, ElementsAre(1.0, 0.25, 4.0));
}

TEST(LowpassToBandpass, SubstitutesTheVariable) {
    expect_substituted(THIRD_ORDER, lowpass_to_bandpass(THIRD_ORDER, 1.7, 0.6),
                       [](Complex s) { return 0.6 * (s * s + 1.7 * 1.7) / s; });
}

TEST(LowpassToBandstop, CutsABandOfItsWidth) { // (s^2 + 4) / (s^2 + 4s + 4)
    const AnalogFilter moved = lowpass_to_bandstop(FIRST_ORDER, 2.0, 4.0);
    EXPECT_THAT(moved.b, ElementsAre(1.0, 0.0, 4.0));
    EXPECT_THAT(moved.a, ElementsAre(1.0, 4.0, 4.0));
}

TEST(LowpassToBandstop, SubstitutesTheVariable) {
    // Normalised by a[D] = 7, which the response does not show.
    expect_substituted(THIRD_ORDER, lowpass_to_bandstop(THIRD_ORDER, 1.7, 0.6),
                       [](Complex s) { return 0.6 * s / (s * s + 1.7 * 1.7); });
}

TEST(FrequencyTransformations, LeaveAConstantAlone) {
    const AnalogFilter constant = {{1.0}, {1.0}};
    for (const AnalogFilter& moved :
         {lowpass_to_lowpass(constant, 3.0), lowpass_to_highpass(constant, 3.0),
          lowpass_to_bandpass(constant, 3.0, 2.0), lowpass_to_bandstop(constant, 3.0, 2.0)}) {
        EXPECT_THAT(moved.b, ElementsAre(1.0));
        EXPECT_THAT(moved.a, ElementsAre(1.0));
    }
}

TEST(BilinearTransform, MapsAFirstOrderLowPass) { // (z + 1) / (5z - 3)
    const FilterCoefficients digital = bilinear_transform(FIRST_ORDER, 2.0);
    EXPECT_THAT(digital.b, ElementsAre(0.2, 0.2));
    EXPECT_THAT(digital.a, ElementsAre(1.0, -0.6));
}

TEST(BilinearTransform, KeepsTheRealPartsOfTheCoefficients) {
    const AnalogFilter tilted = {{{1.0, 9.0}}, {{1.0, -9.0}, {1.0, 3.0}}};
    const FilterCoefficients digital = bilinear_transform(tilted, 2.0);
    EXPECT_THAT(digital.b, ElementsAre(0.2, 0.2));
    EXPECT_THAT(digital.a, ElementsAre(1.0, -0.6));
}

TEST(BilinearTransform, SubstitutesTheVariable) {
    const AnalogFilter real = {{2.0, 1.0}, {1.0, 4.0, 5.0, 7.0}};
    const FilterCoefficients digital = bilinear_transform(real, 2.0);
    ASSERT_EQ(digital.b.size(), 4U);
    ASSERT_EQ(digital.a.size(), 4U);
    const AnalogFilter in_z = {{digital.b.begin(), digital.b.end()},
                               {digital.a.begin(), digital.a.end()}};
    expect_substituted(real, in_z, [](Complex z) { return 4.0 * (z - 1.0) / (z + 1.0); });
}

} // namespace
} // namespace talvora::dsp
