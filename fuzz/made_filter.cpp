#include "fuzz/made_filter.h"

#include "dsp/butterworth_design.h"
#include "fuzz/signals.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace talvora::fuzz {

namespace {

using namespace talvora::dsp;

std::vector<double> make_coefficients(Choices& choices) {
    std::vector<double> coefficients(choices.ConsumeIntegralInRange<std::size_t>(0, 9));
    std::ranges::generate(coefficients, [&] {
        return static_cast<double>(make_float(choices)) / (choices.ConsumeBool() ? 1.0 : 32768.0);
    });
    return coefficients;
}

FilterCoefficients design(Choices& choices) {
    ButterworthParameters parameters;
    parameters.cutoff = choices.ConsumeFloatingPointInRange(0.01, 60.0);
    parameters.order = choices.ConsumeIntegralInRange<std::int32_t>(1, 16);
    parameters.bandwidth = choices.ConsumeFloatingPointInRange(0.01, 20.0);
    parameters.bandform = pick(choices, BANDFORMS).bandform;
    FilterCoefficients filter;
    design_butterworth(compute_pass_order(parameters.order), compute_edges(parameters, 100.0),
                       parameters.bandform, filter.b, filter.a);
    return filter;
}

} // namespace

FilterCoefficients make_filter(Choices& choices) {
    return one_in(choices, 4)
               ? FilterCoefficients{make_coefficients(choices), make_coefficients(choices)}
               : design(choices);
}

} // namespace talvora::fuzz
