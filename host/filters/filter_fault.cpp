#include "host/filters/filter_fault.h"

#include "host/filters/filter_facts.h"
#include "host/filters/known_units.h"

#include <fmt/format.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace talvora::host {
namespace {

using std::numbers::pi;

// ---------------------------------------------------------------------------
// Edges

// Nothing when all edges are in range. The negations take NaN for out of range.
std::optional<std::string> find_range_problem(const FilterDesign& design) {
    const double half_rate = design.sample_rate / 2.0;
    if (!(design.suggested_edges.front() > 0.0)) {
        return fmt::format("the lower edge, {:.6g} Hz, is not above 0",
                           design.suggested_edges.front());
    }
    const double edge = design.suggested_edges.back();
    if (!(edge < half_rate)) {
        return fmt::format("the edge at {:.6g} Hz is not below half the rate, {:.6g} Hz", edge,
                           half_rate);
    }
    const double corrected = design.corrected_edges.back();
    if (!(corrected < half_rate)) {
        return fmt::format("the edge at {:.6g} Hz, moved to {:.6g} Hz for two passes, is not below "
                           "half the rate, {:.6g} Hz",
                           edge, corrected, half_rate);
    }
    return std::nullopt;
}

std::string describe_range(const FilterDesign& design, const FilterWords& words) {
    const double limit = design.sample_rate / 2.0 / dsp::two_pass_correction();
    return count_edges(design.parameters.bandform) == 1
               ? fmt::format("{} above 0 and below {:.6g}", words.cutoff, limit)
               : fmt::format("{0} - {1} / 2 above 0, and {0} + {1} / 2 below {2:.6g}", words.cutoff,
                             words.bandwidth, limit);
}

// ---------------------------------------------------------------------------
// Digits

// Of a gain: less is no matter beside what a filter is chosen by.
constexpr double GAIN_TOLERANCE = 0.01;
// More than that may be a matter.
constexpr double GAIN_ACCURACY = 0.001;

struct KnownGain {
    double frequency = 0.0; // Hz
    double gain = 0.0;      // of both passes
};

// On each flank, from the edge of one pass, which halves the power, into the pass band: a filter
// that is short of digits bends there first, and may have the right gain at the edge itself. 3 dB
// down is among them.
constexpr double FLANK_GAINS[] = {0.5, std::numbers::sqrt2 / 2.0, 0.9, 0.99};

// The tangents of both ends of a band of this width; docs/numerics.md derives them.
std::vector<double> find_band(double product, double width) {
    const double first = 2.0 * product / (width + std::sqrt(width * width + 4.0 * product));
    return {first, first + width};
}

// The tangents to which the form moves a frequency of the prototype, whose edge is at 1.
std::vector<double> find_tangents(const FilterDesign& design, double prototype) {
    const auto warp = [&](double edge) { return std::tan(pi * edge / design.sample_rate); };
    const double lower = warp(design.corrected_edges.front());
    const double upper = warp(design.corrected_edges.back());
    switch (design.parameters.bandform) {
    case Bandform::ZeroLagLowPass:
        return {prototype * lower};
    case Bandform::ZeroLagHighPass:
        return {lower / prototype};
    case Bandform::ZeroLagBandPass: // whose width is the inverse of that of its edges
        return find_band(lower * upper, prototype / (16.0 * (upper - lower)));
    default:
        return find_band(lower * upper, (upper - lower) / prototype);
    }
}

// Where the form passes everything, whatever its order.
std::vector<double> list_passed(const FilterDesign& design) {
    const double half_rate = design.sample_rate / 2.0;
    switch (design.parameters.bandform) {
    case Bandform::ZeroLagLowPass:
        return {0.0};
    case Bandform::ZeroLagHighPass:
        return {half_rate};
    case Bandform::ZeroLagBandPass: {
        const auto band = find_tangents(design, 1.0);
        return {design.sample_rate / pi * std::atan(std::sqrt(band[0] * band[1]))};
    }
    default:
        return {0.0, half_rate};
    }
}

// What each form gives whatever its coefficients: 1 / (1 + x^(2 N)) of the prototype's frequency x.
std::vector<KnownGain> list_known_gains(const FilterDesign& design) {
    std::vector<KnownGain> gains;
    for (const double frequency : list_passed(design)) {
        gains.push_back({frequency, 1.0});
    }
    for (const double gain : FLANK_GAINS) {
        const double prototype = std::pow(1.0 / gain - 1.0, 0.5 / design.pass_order);
        for (const double tangent : find_tangents(design, prototype)) {
            gains.push_back({design.sample_rate / pi * std::atan(tangent), gain});
        }
    }
    return gains;
}

// The first known gain that the coefficients miss by more than a part of it, as a sentence's part.
std::optional<std::string> describe_missed_gain(const FilterDesign& design, double tolerance) {
    for (const auto& [frequency, known] : list_known_gains(design)) {
        const double gain = two_pass_gain(design, frequency);
        if (!(std::abs(gain - known) <= tolerance * known)) {
            return fmt::format("at {:.6g} Hz, where the gain should be {:.6g}, it is {:.6g}",
                               frequency, known, gain);
        }
    }
    return std::nullopt;
}

std::optional<std::string> find_state_problem(const FilterDesign& design) {
    if (const FilterState state = judge(design); state != FilterState::Useful) {
        return fmt::format("the filter is {}", describe_state(state));
    }
    if (const auto missed = describe_missed_gain(design, GAIN_TOLERANCE)) {
        return fmt::format("order {} asks for more digits than the coefficients have: {}",
                           design.parameters.order, *missed);
    }
    return std::nullopt;
}

// The lowest orders are the ones with the most digits to spare.
std::string describe_orders(const FilterDesign& design, const FilterWords& words) {
    constexpr std::int32_t HIGHEST = 100; // beyond what any edge allows
    ButterworthParameters parameters = design.parameters;
    std::int32_t usable = 0;
    for (parameters.order = 2; parameters.order <= HIGHEST; parameters.order += 2) {
        const auto rate = static_cast<float>(design.sample_rate);
        if (find_state_problem(design_filter(parameters, rate))) {
            break;
        }
        usable = parameters.order;
    }
    return usable == 0 ? describe_range(design, words)
                       : fmt::format("{} from 2 to {}", words.order, usable);
}

} // namespace

std::optional<FilterFault> find_fault(const FilterDesign& design, const FilterWords& words) {
    if (const auto problem = find_range_problem(design)) {
        return FilterFault{fmt::format("{}{}", *problem, words.out_of_range),
                           describe_range(design, words)};
    }
    if (const auto problem = find_state_problem(design)) {
        return FilterFault{*problem, describe_orders(design, words)};
    }
    return std::nullopt;
}

std::optional<std::string> find_inaccuracy(const FilterDesign& design) {
    const auto missed = describe_missed_gain(design, GAIN_ACCURACY);
    return missed ? std::optional(fmt::format("order {} takes most digits of the coefficients: {}",
                                              design.parameters.order, *missed))
                  : std::nullopt;
}

} // namespace talvora::host
