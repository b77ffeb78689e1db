// Filters to try laws on, each with what bounds the rounding of its results.
#pragma once

#include "dsp/butterworth_design.h"
#include "dsp/zero_phase_filter.h"

#include <rapidcheck.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <ostream>
#include <vector>

namespace talvora::properties {

struct AnyFilter {
    dsp::Bandform bandform;
    std::int32_t order; // of one pass
    dsp::EdgePair edges;
    dsp::PreparedFilter prepared;

    bool passes_constants() const {
        return bandform == dsp::Bandform::ZeroLagLowPass ||
               bandform == dsp::Bandform::ZeroLagBandStop;
    }
};

inline std::ostream& operator<<(std::ostream& out, const AnyFilter& filter) {
    return out << dsp::BANDFORMS[static_cast<std::size_t>(filter.bandform)].name << " of order "
               << filter.order << " with edges " << filter.edges[0] << ", " << filter.edges[1];
}

// Edges in hundredths of half the sample rate. Narrow bands and edges near the ends are
// left out: what they round away is no longer small beside the samples.
inline rc::Gen<AnyFilter> any_filter() {
    return rc::gen::exec([] {
        const auto bandform = static_cast<dsp::Bandform>(*rc::gen::inRange(0, 4));
        const bool has_band = dsp::has_band(bandform);
        const auto order = *rc::gen::inRange(1, has_band ? 3 : 5);
        const int lower = *rc::gen::inRange(5, has_band ? 70 : 90);
        const int width = *rc::gen::inRange(10, 25);
        const dsp::EdgePair edges{lower / 100.0,
                                  has_band ? (lower + width) / 100.0 : dsp::NO_SECOND_EDGE};
        dsp::FilterCoefficients designed;
        RC_ASSERT(dsp::design_butterworth(order, edges, bandform, designed.b, designed.a));
        return AnyFilter{bandform, order, edges, dsp::prepare_filter(designed)};
    });
}

inline double sum_of_magnitudes(const std::vector<double>& values) {
    double sum = 0.0;
    for (const double value : values) {
        sum += std::abs(value);
    }
    return sum;
}

// Longer than the memory of any of these filters.
constexpr std::size_t RESPONSE_LENGTH = 3000;

inline std::vector<double> impulse_response(const std::vector<double>& b,
                                            const std::vector<double>& a) {
    std::vector<double> impulse(RESPONSE_LENGTH);
    impulse.front() = 1.0;
    return dsp::linear_filter(b, a, impulse, {});
}

// How far rounding can move a sample of zero_phase_filter when none of the input exceeds
// `magnitude`, the coefficients and the states at rest taken as they are.
//
// Mirroring makes samples of three times the magnitude. With H the sum of the magnitudes of
// the impulse response, no output of a pass exceeds H times its greatest input, and no state
// B + A H times it, where B and A are the sums of the magnitudes of the coefficients. A step
// rounds three times per tap, each time by at most half an epsilon of such a state, and what
// is lost comes out through 1 / A(z), whose response sums up to G. The second pass
// multiplies the error of the first by H and adds its own, made of samples H times as large.
inline double bound_of_rounding(const AnyFilter& filter, double magnitude) {
    const std::vector<double>& b = filter.prepared.b;
    const std::vector<double>& a = filter.prepared.a;
    const double h = sum_of_magnitudes(impulse_response(b, a));
    const double g = sum_of_magnitudes(impulse_response({1.0}, a));
    const double state = sum_of_magnitudes(b) + sum_of_magnitudes(a) * h;
    const double one_pass = 3.0 * static_cast<double>(b.size()) *
                            std::numeric_limits<double>::epsilon() / 2.0 * state * g;
    return 3.0 * magnitude * one_pass * 2.0 * h;
}

// The same for a constant, where the rounding of the coefficients shows too: it moves their
// sums by some roundings of B and A, and so the gain at frequency zero, the one sum over the
// other, by as many of G (A + B) in each pass, since the sum of a is no less than 1 / G.
inline double bound_for_constant(const AnyFilter& filter, double magnitude) {
    constexpr double ROUNDINGS_OF_A_COEFFICIENT = 16.0;
    const std::vector<double>& b = filter.prepared.b;
    const std::vector<double>& a = filter.prepared.a;
    const double g = sum_of_magnitudes(impulse_response({1.0}, a));
    const double gain = ROUNDINGS_OF_A_COEFFICIENT * std::numeric_limits<double>::epsilon() * g *
                        (sum_of_magnitudes(a) + sum_of_magnitudes(b));
    return 2.0 * gain * magnitude + bound_of_rounding(filter, magnitude);
}

// After how many samples nothing is left of an impulse that a double beside it could hold.
inline std::size_t settling_length(const AnyFilter& filter) {
    const auto response = impulse_response(filter.prepared.b, filter.prepared.a);
    std::size_t length = response.size();
    while (length > 0 && std::abs(response[length - 1]) < 1e-20) {
        --length;
    }
    return length;
}

} // namespace talvora::properties
