// Whether a filter forgets.
#pragma once

#include <span>

namespace talvora::dsp {

// True when all poles of the denominator `a`, from the highest power of z to the constant term, lie
// inside the unit circle: all reflection coefficients, taken off degree by degree, are below 1.
// (Oppenheim and Schafer, Discrete-Time Signal Processing, section on lattice filters; I. Schur's
// test.) False when a coefficient is NaN and the degree at least 1.
bool is_stable(std::span<const double> a);

} // namespace talvora::dsp
