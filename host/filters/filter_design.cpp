#include "host/filters/filter_design.h"

#include "dsp/filter_stability.h"
#include "host/text/failure.h"
#include "host/text/join_texts.h"
#include "host/text/nearest_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>

namespace talvora::host {
namespace {

using std::numbers::pi;

// |p(z)|^2 at z = cos + i sin, by Horner's rule.
long double square_of(const std::vector<double>& polynomial, long double cosine, long double sine) {
    long double real = 0.0L;
    long double imaginary = 0.0L;
    for (const double coefficient : polynomial) {
        const long double turned =
            real * cosine - imaginary * sine + static_cast<long double>(coefficient);
        imaginary = real * sine + imaginary * cosine;
        real = turned;
    }
    return real * real + imaginary * imaginary;
}

bool are_finite(const std::vector<double>& values) {
    return std::ranges::all_of(values, [](double value) { return std::isfinite(value); });
}

std::vector<double> list_suggested_edges(const ButterworthParameters& parameters) {
    if (count_edges(parameters.bandform) == 1) {
        return {parameters.cutoff};
    }
    const double half = parameters.bandwidth / 2.0;
    return {parameters.cutoff - half, parameters.cutoff + half};
}

std::vector<double> list_corrected_edges(const ButterworthParameters& parameters, double rate) {
    std::vector<double> edges;
    for (const double part : dsp::compute_edges(parameters, rate)) {
        edges.push_back(part * rate / 2.0);
    }
    edges.resize(count_edges(parameters.bandform));
    return edges;
}

// The tangents that docs/numerics.md calls t and u.
struct Warping {
    double rate;
    double warp(double frequency_hz) const { return std::tan(pi * frequency_hz / rate); }
    // Corrected once more by the unit, so that factor is taken off.
    double uncorrected(double tangent) const {
        return rate / pi * std::atan(tangent) / dsp::two_pass_correction();
    }
};

ButterworthParameters choose_band(Bandform bandform, std::int32_t order,
                                  const std::vector<double>& edges, double half_power,
                                  const Warping& warping) {
    const double lower = warping.warp(edges[0]);
    const double upper = warping.warp(edges[1]);
    const double width = bandform == Bandform::ZeroLagBandPass
                             ? half_power / (16.0 * (upper - lower))
                             : half_power * (upper - lower);
    const double product = lower * upper;
    const double first = 2.0 * product / (width + std::sqrt(width * width + 4.0 * product));
    const double from = warping.uncorrected(first);
    const double to = warping.uncorrected(first + width);
    return {(from + to) / 2.0, order, to - from, bandform};
}

} // namespace

FilterDesign design_filter(const ButterworthParameters& parameters, float sample_rate) {
    const double rate = static_cast<double>(sample_rate);
    return {parameters,
            rate,
            dsp::compute_pass_order(parameters.order),
            list_suggested_edges(parameters),
            list_corrected_edges(parameters, rate),
            dsp::build_design_cache({&sample_rate, 1}, parameters).at(sample_rate)};
}

double two_pass_gain(const FilterDesign& design, double frequency_hz) {
    constexpr auto TURN = 2.0L * std::numbers::pi_v<long double>;
    const long double angle = TURN * static_cast<long double>(frequency_hz) /
                              static_cast<long double>(design.sample_rate);
    const long double cosine = std::cos(angle);
    const long double sine = std::sin(angle);
    return static_cast<double>(square_of(design.coefficients.b, cosine, sine) /
                               square_of(design.coefficients.a, cosine, sine));
}

std::uint64_t find_shortest_run(const FilterDesign& design) {
    const auto& [b, a] = design.coefficients;
    const std::size_t tap_count = std::max(b.size(), a.size());
    return tap_count == 0 ? 0 : 3 * tap_count - 1;
}

bool has_finite_coefficients(const FilterDesign& design) {
    const auto& [b, a] = design.coefficients;
    return !a.empty() && are_finite(b) && are_finite(a);
}

bool is_stable(const FilterDesign& design) {
    return dsp::is_stable(design.coefficients.a);
}

ButterworthParameters choose_parameters(Bandform bandform, std::int32_t order,
                                        const std::vector<double>& edges, float sample_rate) {
    const double pass_order = dsp::compute_pass_order(order);
    const double half_power = std::pow(std::sqrt(2.0) - 1.0, 1.0 / (2.0 * pass_order));
    const Warping warping = {static_cast<double>(sample_rate)};
    switch (bandform) {
    case Bandform::ZeroLagLowPass:
        return {warping.uncorrected(warping.warp(edges[0]) / half_power), order, 0.0, bandform};
    case Bandform::ZeroLagHighPass:
        return {warping.uncorrected(warping.warp(edges[0]) * half_power), order, 0.0, bandform};
    default:
        return choose_band(bandform, order, edges, half_power, warping);
    }
}

std::string_view bandform_name(Bandform bandform) {
    return std::ranges::find(dsp::BANDFORMS, bandform, &dsp::NamedBandform::bandform)->name;
}

std::vector<std::string> list_bandforms() {
    std::vector<std::string> names;
    for (const dsp::NamedBandform& named : dsp::BANDFORMS) {
        names.emplace_back(named.name);
    }
    return names;
}

std::optional<Bandform> parse_bandform(std::string_view name) {
    const auto* const named = std::ranges::find(dsp::BANDFORMS, name, &dsp::NamedBandform::name);
    return named != std::end(dsp::BANDFORMS) ? std::optional(named->bandform) : std::nullopt;
}

Bandform find_bandform(std::string_view name) {
    if (const auto bandform = parse_bandform(name)) {
        return *bandform;
    }
    const std::vector<std::string> known = list_bandforms();
    const std::string hint = suggest_nearest(name, known);
    throw Failure(ExitCode::Usage,
                  fmt::format("unknown band form '{}' (known: {})", name, join_texts(known)),
                  hint.empty() ? std::vector<std::string>() : std::vector{hint});
}

std::size_t count_edges(Bandform bandform) {
    return dsp::has_band(bandform) ? 2 : 1;
}

} // namespace talvora::host
