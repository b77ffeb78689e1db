#include "dsp/one_lane.h"

#include "dsp/filter_sample.h"
#include "dsp/same_bits.h"

#include <algorithm>
#include <cmath>

namespace talvora::dsp {

namespace {

// The steps of filter_sample with the state in registers.
template <std::size_t Order>
void filter_rows_of_order(const PreparedFilter& filter, double* state, const LaneRows& input,
                          LaneRows& output) {
    double b[Order + 1];
    double a[Order + 1];
    double z[Order];
    std::ranges::copy(filter.b, b);
    std::ranges::copy(filter.a, a);
    std::copy_n(state, Order, z);
    for (std::size_t row = 0; row < REST_ROWS; ++row) {
        const double x = input[row];
        const double y = b[0] * x + z[0];
#pragma GCC unroll 8
        for (std::size_t i = 1; i < Order; ++i) {
            z[i - 1] = z[i] + b[i] * x - a[i] * y;
        }
        z[Order - 1] = b[Order] * x - a[Order] * y;
        output[row] = y;
    }
    std::copy_n(z, Order, state);
}

using FilterRows = void (*)(const PreparedFilter&, double*, const LaneRows&, LaneRows&);

// From an order of one on.
constexpr FilterRows FILTER_ROWS[] = {filter_rows_of_order<1>, filter_rows_of_order<2>,
                                      filter_rows_of_order<3>, filter_rows_of_order<4>,
                                      filter_rows_of_order<5>, filter_rows_of_order<6>,
                                      filter_rows_of_order<7>, filter_rows_of_order<8>};

} // namespace

void OneLane::put_to_rest(double input) {
    std::ranges::transform(filter_.steady_state, state_.begin(),
                           [input](double value) { return value * input; });
}

bool OneLane::has_met_missing() const {
    return std::isnan(state_.front());
}

bool OneLane::has_state(std::span<const double> state) const {
    return same_bits(state_.data(), state.data(), state.size());
}

bool OneLane::filter_rows(const LaneRows& input, LaneRows& output) {
    if (rest_.is_known && has_state(rest_.state) &&
        same_bits(input.data(), rest_.input.data(), REST_ROWS)) {
        output = rest_.output;
        return false;
    }
    rest_.state = state_;
    if (state_.size() <= std::size(FILTER_ROWS)) {
        FILTER_ROWS[state_.size() - 1](filter_, state_.data(), input, output);
    } else {
        std::ranges::transform(input, output.begin(), [this](double sample) {
            return filter_sample(filter_.b, filter_.a, state_, sample);
        });
    }
    rest_.is_known = has_state(rest_.state);
    if (rest_.is_known) {
        rest_.input = input;
        rest_.output = output;
    }
    return true;
}

void OneLane::filter(std::span<double> samples) {
    for (; samples.size() >= REST_ROWS; samples = samples.subspan(REST_ROWS)) {
        LaneRows input;
        LaneRows output;
        std::copy_n(samples.begin(), REST_ROWS, input.begin());
        filter_rows(input, output);
        std::ranges::copy(output, samples.begin());
    }
    for (double& sample : samples) {
        sample = filter_sample(filter_.b, filter_.a, state_, sample);
    }
}

} // namespace talvora::dsp
