// The filter that the Butterworth unit makes of its parameters at one sample rate.
//
// The one place where the host uses the plug-in's numerics: the interface does not tell
// coefficients, and taken from a response they would lack their last digits. A test
// holds them against what the built plug-in does to a signal. See
// docs/decisions/0007-filter-facts.md.
#pragma once

#include "dsp/butterworth_design.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

using dsp::Bandform;
using dsp::ButterworthParameters;

struct FilterDesign {
    ButterworthParameters parameters;
    double sample_rate = 0.0; // Hz, widened from the float that the unit reads
    std::int32_t pass_order = 0;
    std::vector<double> suggested_edges;  // Hz: the cutoff, or the centre less and plus half
                                          // the width
    std::vector<double> corrected_edges;  // Hz: those that one pass is designed for
    dsp::FilterCoefficients coefficients; // of one pass
};

// Any parameters and any finite rate: what the unit refuses is designed all the same.
FilterDesign design_filter(const ButterworthParameters& parameters, float sample_rate);

// Gain of the forward and the backward pass together, a power gain of one pass: from
// the coefficients, in extended precision, so that no digit is lost but theirs.
double two_pass_gain(const FilterDesign& design, double frequency_hz);

// Valid samples in a row that a run has at least to be filtered: its ends are continued by as many
// as the longer of numerator and denominator has, thrice.
std::uint64_t find_shortest_run(const FilterDesign& design);

bool has_finite_coefficients(const FilterDesign& design);

// True when all poles lie inside the unit circle.
bool is_stable(const FilterDesign& design);

// The parameters whose two passes together are 3 dB down at the edges, in Hz, by the
// closed forms of docs/numerics.md. The edges are as many as the form has, ascending,
// between 0 and half the rate; the order is at least 2.
ButterworthParameters choose_parameters(Bandform bandform, std::int32_t order,
                                        const std::vector<double>& edges, float sample_rate);

std::string_view bandform_name(Bandform bandform);
std::vector<std::string> list_bandforms();
std::optional<Bandform> parse_bandform(std::string_view name);
// Throws a Failure of usage that names the nearest one.
Bandform find_bandform(std::string_view name);
std::size_t count_edges(Bandform bandform);

} // namespace talvora::host
