// Transfer functions as polynomials, moved in frequency and from analogue to digital.
//
// All polynomials hold their coefficients from the highest power to the constant term
// and have at least one. Sums run in the order of the indices in the formulas, and each
// product from left to right, so that the same design gives the same bits everywhere.
// No function checks its frequencies: NaN, zero and negative ones run through.
#pragma once

#include "dsp/filter_coefficients.h"

#include <complex>
#include <span>
#include <vector>

namespace talvora::dsp {

using ComplexPolynomial = std::vector<std::complex<double>>;

// H(s) = B(s) / A(s). The roots come in conjugate pairs, but to rounding only, so the
// coefficients stay complex until the filter is digital.
struct AnalogFilter {
    ComplexPolynomial b;
    ComplexPolynomial a;
};

// The monic polynomial with the given roots: one more coefficient than roots.
ComplexPolynomial expand_roots(std::span<const std::complex<double>> roots);

// Divides both polynomials by the first coefficient of `a`, after dropping leading
// coefficients of `a` that are exactly zero (but never its last one). For real and
// complex coefficients.
template <typename Scalar>
void normalize_transfer_function(std::vector<Scalar>& b, std::vector<Scalar>& a);

// The four classical substitutions, from a low pass of edge 1 rad/s to edge or centre
// `wo`, with band width `bw`, all in rad/s. (Parks and Burrus, Digital Filter Design,
// 1987, section on frequency transformations.) Each result is normalised.

// s -> s / wo.
AnalogFilter lowpass_to_lowpass(const AnalogFilter& lowpass, double wo);

// s -> wo / s.
AnalogFilter lowpass_to_highpass(const AnalogFilter& lowpass, double wo);

// s -> bw (s^2 + wo^2) / s: the width of this band is 1/bw, not bw; see the note where
// the exponent stands. The degree doubles.
AnalogFilter lowpass_to_bandpass(const AnalogFilter& lowpass, double wo, double bw);

// s -> bw s / (s^2 + wo^2). The degree doubles.
AnalogFilter lowpass_to_bandstop(const AnalogFilter& lowpass, double wo, double bw);

// s -> 2 fs (z - 1) / (z + 1), normalised; the coefficients are the real parts. Takes
// time with the cube of the degree. (Oppenheim and Schafer, Discrete-Time Signal
// Processing, section on the bilinear transformation; the expanded sums in
// docs/numerics.md.)
FilterCoefficients bilinear_transform(const AnalogFilter& analog, double sample_rate);

} // namespace talvora::dsp
