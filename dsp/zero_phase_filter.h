// Filtering one run of samples forward and backward, so that no frequency is
// delayed. This is the plain definition in double precision, with which all faster ways are
// compared; filter_set.h filters whole sets, many runs at once, to the same bits, and comes
// here for filters of one tap alone.
//
// A filter is a numerator `b` and a denominator `a`, from the highest power of z to
// the constant term; the shorter one counts as padded with zeros at its end. Both
// together have `tap_count` = max(length of b, length of a) coefficients.
#pragma once

#include "dsp/filter_coefficients.h"

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace talvora::dsp {

// How runs are extended for a filter.
struct Padding {
    std::size_t count = 0;        // samples added at each end
    std::size_t least_length = 0; // of a run that is filtered
};

// Those of so many taps: `pad_count` samples, for runs that are longer than that. Without it three
// times the filter's order, for runs of two samples more.
Padding padding_for(std::size_t tap_count, std::optional<std::size_t> pad_count = std::nullopt);

// A filter made ready for many runs: scaled so that a[0] is 1, padded to one
// length, with the state of a filter at rest on a constant input of 1.
struct PreparedFilter {
    std::vector<double> b;
    std::vector<double> a;
    std::vector<double> steady_state;
    Padding padding;

    std::size_t tap_count() const { return b.size(); }
    std::size_t pad_count() const { return padding.count; }
    // Whether a result depends on those before it.
    bool has_feedback() const;
    // Whether a coefficient is NaN and the state with it, as every sample of a run is then.
    // Two taps make no use of a[0].
    bool has_missing_coefficient() const;
};

// Costs the dense solution of tap_count - 1 equations. Not scaled when a[0] is within one
// rounding unit (2^-52) of 1. A leading coefficient of zero is divided by like any other
// and makes the results NaN. `pad_count` as in padding_for.
PreparedFilter prepare_filter(const FilterCoefficients& coefficients,
                              std::optional<std::size_t> pad_count = std::nullopt);

// The state zi with which a constant input of 1 gives a constant output from the
// first sample on: the fixed point of the state recurrence of `linear_filter`,
// (I - S) zi = r (Gustafsson, "Determining the initial states in forward-backward
// filtering", IEEE Trans. Signal Processing 44, 1996, section III), where S shifts the
// state up by one and feeds back -a[1..] from its first element. Expects b and a of
// one length with a[0] = 1; gives one element less, none for an empty filter. All are NaN
// when a coefficient is.
std::vector<double> steady_state_initial_conditions(std::span<const double> b,
                                                    std::span<const double> a);

// One causal pass over x in direct form II transposed (Oppenheim and Schafer,
// "Discrete-Time Signal Processing", section 6.3), started from the state z0 of
// tap_count - 1 elements (missing ones are zero). With a[0] = 0 there is no filter: one
// line is written to the standard error stream and x is given back. A prepared filter never
// comes to that, nor does a unit: its division has made NaN of such a coefficient.
std::vector<double> linear_filter(std::span<const double> b, std::span<const double> a,
                                  std::span<const double> x, std::span<const double> z0);

// Filters x forward, then backward; the result has the length of x. Both passes run
// over x extended at each end by pad_count samples mirrored about its end point and
// start in the steady state for their first sample, which keeps start-up transients
// away from the ends. Throws std::invalid_argument when x has no more than pad_count
// samples; an empty filter gives x back. Needs a few copies of x in double.
std::vector<double> zero_phase_filter(std::span<const double> x, const PreparedFilter& filter);

// The same for a filter without feedback, as the convolutions that it is made of: a NaN or an
// infinity reaches as many samples to either side as the filter has taps, less one. The recurrence
// carries them on for ever, through products by zero. Of numbers nothing but the sign of a zero may
// differ.
std::vector<double> zero_phase_convolution(std::span<const double> x, const PreparedFilter& filter);

} // namespace talvora::dsp
