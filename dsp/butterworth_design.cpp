#include "dsp/butterworth_design.h"

#include "dsp/frequency_transformations.h"

#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

namespace talvora::dsp {

namespace {

// The rate at which the bilinear transform runs. Any would do, as the edges are
// pre-warped for the same one.
constexpr double NOMINAL_RATE = 2.0;

// The analogue frequency, in rad/s, that the bilinear transform brings to `edge`:
// 2 fs tan(pi edge / 2). (Oppenheim and Schafer, Discrete-Time Signal Processing,
// section on the bilinear transformation: frequency warping.)
double prewarp(double edge) {
    return 2.0 * NOMINAL_RATE * std::tan(std::numbers::pi * edge * 0.5);
}

AnalogFilter transform_band(const AnalogFilter& lowpass, const EdgePair& edges, Bandform bandform) {
    const double lower = prewarp(edges[0]);
    const double upper = prewarp(edges[1]);
    const double width = upper - lower;
    const double centre = std::sqrt(lower * upper);
    return bandform == Bandform::ZeroLagBandPass ? lowpass_to_bandpass(lowpass, centre, width)
                                                 : lowpass_to_bandstop(lowpass, centre, width);
}

AnalogFilter transform(const AnalogFilter& lowpass, const EdgePair& edges, Bandform bandform) {
    switch (bandform) {
    case Bandform::ZeroLagLowPass:
        return lowpass_to_lowpass(lowpass, prewarp(edges[0]));
    case Bandform::ZeroLagHighPass:
        return lowpass_to_highpass(lowpass, prewarp(edges[0]));
    default:
        return transform_band(lowpass, edges, bandform);
    }
}

FilterCoefficients make_digital(std::int32_t order, const EdgePair& edges, Bandform bandform) {
    const AnalogFilter prototype = {{1.0}, expand_roots(butterworth_prototype(order))};
    return bilinear_transform(transform(prototype, edges, bandform), NOMINAL_RATE);
}

FilterCoefficients make_overflowed(std::int64_t degree) {
    const std::vector<double> values(static_cast<std::size_t>(degree) + 1,
                                     std::numeric_limits<double>::quiet_NaN());
    return {values, values};
}

std::int64_t compute_degree(std::int32_t order, Bandform bandform) {
    return has_band(bandform) ? 2 * std::int64_t{order} : order;
}

bool has_valid_edges(const EdgePair& edges, Bandform bandform) {
    return has_band(bandform) || (has_single_edge(bandform) && edges[1] == NO_SECOND_EDGE);
}

FilterCoefficients design_for_rate(const ButterworthParameters& parameters, double sample_rate) {
    FilterCoefficients filter;
    design_butterworth(compute_pass_order(parameters.order), compute_edges(parameters, sample_rate),
                       parameters.bandform, filter.b, filter.a);
    return filter;
}

} // namespace

bool has_single_edge(Bandform bandform) {
    return bandform == Bandform::ZeroLagLowPass || bandform == Bandform::ZeroLagHighPass;
}

bool has_band(Bandform bandform) {
    return bandform == Bandform::ZeroLagBandPass || bandform == Bandform::ZeroLagBandStop;
}

double two_pass_correction() {
    return 1.0 / std::pow(std::pow(2.0, 0.5) - 1.0, 0.25);
}

EdgePair compute_edges(const ButterworthParameters& parameters, double sample_rate) {
    const double correction = two_pass_correction();
    const double twice_cutoff = 2.0 * parameters.cutoff;
    if (has_single_edge(parameters.bandform)) {
        return {correction * (twice_cutoff / sample_rate), NO_SECOND_EDGE};
    }
    return {correction * ((twice_cutoff - parameters.bandwidth) / sample_rate),
            correction * ((twice_cutoff + parameters.bandwidth) / sample_rate)};
}

std::int32_t compute_pass_order(std::int32_t order) {
    return order / 2;
}

std::vector<std::complex<double>> butterworth_prototype(std::int32_t order) {
    std::vector<std::complex<double>> poles;
    for (std::int32_t m = 1; m <= order; ++m) {
        const double angle = std::numbers::pi * (2.0 * m - 1.0) / (2.0 * order);
        poles.emplace_back(-std::sin(angle), std::cos(angle));
    }
    return poles;
}

bool design_butterworth(std::int32_t order, const EdgePair& edges, Bandform bandform,
                        std::vector<double>& b, std::vector<double>& a) {
    b.clear();
    a.clear();
    const std::int64_t degree = compute_degree(order, bandform);
    if (!has_valid_edges(edges, bandform) || degree > LARGEST_DEGREE) {
        return false;
    }
    FilterCoefficients filter = degree > LARGEST_FINITE_DEGREE
                                    ? make_overflowed(degree)
                                    : make_digital(order, edges, bandform);
    b = std::move(filter.b);
    a = std::move(filter.a);
    return true;
}

DesignCache build_design_cache(std::span<const float> sample_rates,
                               const ButterworthParameters& parameters) {
    DesignCache cache;
    for (const float rate : sample_rates) {
        if (std::isfinite(rate) && !cache.contains(rate)) {
            cache.emplace(rate, design_for_rate(parameters, static_cast<double>(rate)));
        }
    }
    return cache;
}

} // namespace talvora::dsp
