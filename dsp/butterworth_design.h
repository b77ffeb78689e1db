// From the Butterworth unit's parameters to the coefficients of one digital filter.
//
// The filter runs over every signal twice, forward and backward, so each pass gets
// half the order and edges moved by a fixed correction. The design is the classical
// chain of small steps, each usable alone: prototype, polynomial, frequency
// transformation, bilinear transform (see dsp/frequency_transformations.h).
// docs/numerics.md derives where the edges of the two passes together come to lie.
#pragma once

#include "dsp/filter_coefficients.h"

#include <array>
#include <complex>
#include <cstdint>
#include <span>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace talvora::dsp {

enum class Bandform : std::int32_t {
    ZeroLagLowPass = 0,
    ZeroLagHighPass = 1,
    ZeroLagBandPass = 2,
    ZeroLagBandStop = 3,
};

// As the unit's "Bandform" names them, letter case included.
struct NamedBandform {
    std::string_view name;
    Bandform bandform;
};

constexpr NamedBandform BANDFORMS[] = {
    {"ZeroLagLowPass", Bandform::ZeroLagLowPass},
    {"ZeroLagHighPass", Bandform::ZeroLagHighPass},
    {"ZeroLagBandPass", Bandform::ZeroLagBandPass},
    {"ZeroLagBandStop", Bandform::ZeroLagBandStop},
};

struct ButterworthParameters {
    double cutoff = 0.0;    // Hz; the centre of the band for the two band forms
    std::int32_t order = 0; // over both passes
    double bandwidth = 0.0; // Hz, full width; the band forms alone use it
    Bandform bandform = Bandform::ZeroLagLowPass;
};

// Edges relative to half the sample rate.
using EdgePair = std::array<double, 2>;

// Stands for the second edge where a form has only one.
constexpr double NO_SECOND_EDGE = -1.0;

// Beyond this degree no double holds the coefficients: the factor (2 fs)^degree of the
// bilinear transform is infinite, and all of `a` with it infinite or NaN.
constexpr std::int64_t LARGEST_FINITE_DEGREE = 511;

// Beyond this degree there is no design at all. It would be as many NaN, for runs of
// three times as many samples, and an order mistyped must not fill the memory.
constexpr std::int64_t LARGEST_DEGREE = 100'000;

bool has_single_edge(Bandform bandform);
bool has_band(Bandform bandform);

// The factor by which an edge moves so that two passes of a second-order low pass
// are 3 dB down where one pass would be: 1 / (sqrt(2) - 1)^(1/4).
double two_pass_correction();

// The corrected edges of one of the four forms at `sample_rate` Hz. Nothing limits
// them to the range from 0 to 1.
EdgePair compute_edges(const ButterworthParameters& parameters, double sample_rate);

// Half of the order over both passes, rounded toward zero.
std::int32_t compute_pass_order(std::int32_t order);

// The poles of the analogue low pass of edge 1 rad/s; it has no zeros and gain 1.
// They lie on the left half of the unit circle, from the upper to the lower end:
// p_m = i exp(i pi (2m - 1) / (2 order)). (Parks and Burrus, Digital Filter Design,
// 1987, section on the Butterworth filter: poles.)
std::vector<std::complex<double>> butterworth_prototype(std::int32_t order);

// One pass of order `order` (not negative) with the given edges: a digital transfer
// function with a[0] = 1 and both vectors of length order + 1, or 2 order + 1 for the
// band forms. Returns false with empty vectors for a single-edge form whose second
// edge is not NO_SECOND_EDGE, for an unknown band form, and beyond LARGEST_DEGREE.
//
// Edges are not checked: one beyond 1 or below 0, or a pair in the wrong order, runs
// through the same arithmetic and may give NaN or infinite coefficients. Beyond
// LARGEST_FINITE_DEGREE all coefficients are NaN. The time grows with the cube of the
// degree: 0.2 ms at degree 60.
bool design_butterworth(std::int32_t order, const EdgePair& edges, Bandform bandform,
                        std::vector<double>& b, std::vector<double>& a);

// The designs of one run by sample rate.
using DesignCache = std::unordered_map<float, FilterCoefficients>;

// One design for each distinct finite rate; NaN and infinite rates get no entry. A
// rate whose design fails has an empty filter.
DesignCache build_design_cache(std::span<const float> sample_rates,
                               const ButterworthParameters& parameters);

} // namespace talvora::dsp
