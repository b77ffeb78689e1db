// Where the response of both passes together is 3 dB down, against the closed forms
// that docs/numerics.md derives.
#include "dsp/butterworth_design.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

namespace talvora::dsp {
namespace {

using std::numbers::pi;

constexpr double SAMPLE_RATE = 1000.0;
const double CORRECTION = std::pow(std::sqrt(2.0) - 1.0, -0.25);

std::complex<double> evaluate(const std::vector<double>& polynomial, std::complex<double> z) {
    std::complex<double> value = 0.0;
    for (const double coefficient : polynomial) {
        value = value * z + coefficient;
    }
    return value;
}

// The gain of the forward and the backward pass together.
double two_pass_gain(const FilterCoefficients& filter, double frequency_hz) {
    const auto z = std::polar(1.0, 2.0 * pi * frequency_hz / SAMPLE_RATE);
    return std::norm(evaluate(filter.b, z) / evaluate(filter.a, z));
}

FilterCoefficients design(const ButterworthParameters& parameters) {
    constexpr auto RATE = static_cast<float>(SAMPLE_RATE);
    return build_design_cache({&RATE, 1}, parameters).at(RATE);
}

void expect_3_db_down(const ButterworthParameters& parameters, double frequency_hz) {
    EXPECT_NEAR(two_pass_gain(design(parameters), frequency_hz), std::sqrt(0.5), 1e-9)
        << "order " << parameters.order << ", " << frequency_hz << " Hz";
}

// tan(pi f / fs), a quarter of the analogue frequency.
double warp(double frequency_hz) {
    return std::tan(pi * frequency_hz / SAMPLE_RATE);
}

double unwarp(double tangent) {
    return SAMPLE_RATE / pi * std::atan(tangent);
}

// The two-pass response of the prototype is 3 dB down at this frequency.
double half_power(std::int32_t order) {
    return std::pow(std::sqrt(2.0) - 1.0, 1.0 / (2.0 * (order / 2)));
}

ButterworthParameters choose_lowpass(std::int32_t order, double edge) {
    return {unwarp(warp(edge) / half_power(order)) / CORRECTION, order, 0.0,
            Bandform::ZeroLagLowPass};
}

ButterworthParameters choose_highpass(std::int32_t order, double edge) {
    return {unwarp(warp(edge) * half_power(order)) / CORRECTION, order, 0.0,
            Bandform::ZeroLagHighPass};
}

ButterworthParameters choose_band(std::int32_t order, double lower, double upper,
                                  Bandform bandform) {
    const double wanted_width = warp(upper) - warp(lower);
    const double width = bandform == Bandform::ZeroLagBandPass
                             ? half_power(order) / (16.0 * wanted_width)
                             : half_power(order) * wanted_width;
    const double square = warp(lower) * warp(upper);
    const double first = 2.0 * square / (width + std::sqrt(width * width + 4.0 * square));
    const double from = unwarp(first) / CORRECTION;
    const double to = unwarp(first + width) / CORRECTION;
    return {(from + to) / 2.0, order, to - from, bandform};
}

TEST(ButterworthResponse, IsThreeDecibelsDownAtTheChosenEdge) {
    for (const std::int32_t order : {2, 3, 4, 5, 6, 8}) {
        for (const double edge : {20.0, 50.0, 123.0, 300.0, 480.0}) {
            expect_3_db_down(choose_lowpass(order, edge), edge);
            expect_3_db_down(choose_highpass(order, edge), edge);
        }
    }
}

TEST(ButterworthResponse, IsThreeDecibelsDownAtBothEndsOfTheChosenBand) {
    struct Band {
        double lower;
        double upper;
    };
    for (const std::int32_t order : {2, 3, 4, 5, 6, 8}) {
        for (const auto [lower, upper] :
             {Band{100, 160}, Band{50, 250}, Band{200, 230}, Band{300, 450}, Band{30, 480}}) {
            for (const Bandform form : {Bandform::ZeroLagBandPass, Bandform::ZeroLagBandStop}) {
                const ButterworthParameters chosen = choose_band(order, lower, upper, form);
                expect_3_db_down(chosen, lower);
                expect_3_db_down(chosen, upper);
            }
        }
    }
}

// The edges below were computed from the analogue filter by
// docs/decisions/plot_band_pass_width.py.
TEST(ButterworthResponse, PassesTheWideBandOfTheDecisionNote) {
    const ButterworthParameters parameters = {50.0, 4, 20.0, Bandform::ZeroLagBandPass};
    expect_3_db_down(parameters, 17.892365598187);
    expect_3_db_down(parameters, 188.313380422110);
}

TEST(ButterworthResponse, NarrowsTheBandPassAsTheBandWidthGrows) {
    // One and the same frequency pair loses gain with every step of the width.
    double last = 1.0;
    for (const double width : {5.0, 10.0, 20.0, 40.0, 60.0, 64.0, 70.0, 80.0, 90.0}) {
        const double gain =
            two_pass_gain(design({50.0, 4, width, Bandform::ZeroLagBandPass}), 150.0);
        EXPECT_LT(gain, last) << width;
        last = gain;
    }
}

TEST(ButterworthResponse, PutsTheLowPassOfOrderFourAlmostAtItsCutoff) {
    expect_3_db_down({10.0, 4, 0.0, Bandform::ZeroLagLowPass}, 10.001821881905);
    expect_3_db_down({10.0, 8, 0.0, Bandform::ZeroLagLowPass}, 11.165825971418);
    expect_3_db_down({10.0, 4, 0.0, Bandform::ZeroLagHighPass}, 15.533345008245);
}

} // namespace
} // namespace talvora::dsp
