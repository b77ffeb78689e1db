#include "dsp/one_lane.h"

#include "dsp/filter_sample.h"
#include "dsp/made_samples.h"
#include "dsp/same_bits.h"

#include <algorithm>
#include <cmath>

namespace talvora::dsp {

namespace {

// Samples are widened between the steps of the recurrence, which leave time for it. To narrow them
// there would keep the next step waiting.
template <class Sample>
struct SamplesForward {
    const Sample* samples;

    double input(std::size_t row) const { return static_cast<double>(samples[row]); }
    static constexpr bool HAS_OUTPUT = false;
    static double output(std::size_t) { return 0.0; }
    static void store(const LaneRows&) {}
};

template <class Sample>
struct RowsBackward {
    const double* last_row;
    std::ptrdiff_t row_step;
    Sample* last_sample;

    double input(std::size_t row) const { return last_row[-as_step(row) * row_step]; }
    static constexpr bool HAS_OUTPUT = true;
    double output(std::size_t row) const { return static_cast<double>(last_sample[-as_step(row)]); }
    void store(const LaneRows& rows) const {
        for (std::size_t row = 0; row < REST_ROWS; ++row) {
            last_sample[-as_step(row)] = narrowed_sample<Sample>(rows[row]);
        }
    }
    static std::ptrdiff_t as_step(std::size_t count) { return static_cast<std::ptrdiff_t>(count); }
};

// The steps of filter_sample with the state in registers.
template <std::size_t Order, class Rows>
void filter_rows_of_order(const PreparedFilter& filter, double* state, const Rows& rows) {
    double b[Order + 1];
    double a[Order + 1];
    double z[Order];
    std::copy_n(filter.b.begin(), Order + 1, b);
    std::copy_n(filter.a.begin(), Order + 1, a);
    std::copy_n(state, Order, z);
    LaneRows output;
    for (std::size_t row = 0; row < REST_ROWS; ++row) {
        const double x = rows.input(row);
        const double y = b[0] * x + z[0];
#pragma GCC unroll 8
        for (std::size_t i = 1; i < Order; ++i) {
            z[i - 1] = z[i] + b[i] * x - a[i] * y;
        }
        z[Order - 1] = b[Order] * x - a[Order] * y;
        output[row] = y;
    }
    std::copy_n(z, Order, state);
    rows.store(output);
}

template <class Rows>
using FilterRows = void (*)(const PreparedFilter&, double*, const Rows&);

template <class Rows>
void filter_all_rows(const PreparedFilter& filter, std::span<double> state, const Rows& rows) {
    // From an order of one on.
    static constexpr FilterRows<Rows> OF_ORDER[] = {
        filter_rows_of_order<1, Rows>, filter_rows_of_order<2, Rows>, filter_rows_of_order<3, Rows>,
        filter_rows_of_order<4, Rows>, filter_rows_of_order<5, Rows>, filter_rows_of_order<6, Rows>,
        filter_rows_of_order<7, Rows>, filter_rows_of_order<8, Rows>};
    if (state.size() <= std::size(OF_ORDER)) {
        return OF_ORDER[state.size() - 1](filter, state.data(), rows);
    }
    LaneRows output;
    for (std::size_t row = 0; row < REST_ROWS; ++row) {
        output[row] = filter_sample(filter.b, filter.a, state, rows.input(row));
    }
    rows.store(output);
}

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

template <class Sample>
bool OneLane::filter_forward(const Sample* samples) {
    return filter_rows(SamplesForward<Sample>{samples});
}

template <class Sample>
bool OneLane::filter_backward(const double* last_row, std::ptrdiff_t row_step, Sample* samples) {
    return filter_rows(RowsBackward<Sample>{last_row, row_step, samples + REST_ROWS - 1});
}

void OneLane::filter(std::span<double> samples) {
    for (double& sample : samples) {
        sample = filter_sample(filter_.b, filter_.a, state_, sample);
    }
}

template <class Rows>
bool OneLane::filter_rows(const Rows& rows) {
    if (repeats(rows)) {
        rows.store(rest_.output);
        return false;
    }
    rest_.state = state_;
    filter_all_rows(filter_, state_, rows);
    rest_.is_known = has_state(rest_.state);
    if (rest_.is_known) {
        remember_rest(rows);
    }
    return true;
}

template <class Rows>
bool OneLane::repeats(const Rows& rows) const {
    if (!rest_.is_known || (Rows::HAS_OUTPUT && !rest_.has_output) || !has_state(rest_.state)) {
        return false;
    }
    LaneRows input;
    for (std::size_t row = 0; row < REST_ROWS; ++row) {
        input[row] = rows.input(row);
    }
    return same_bits(input.data(), rest_.input.data(), REST_ROWS);
}

template <class Rows>
void OneLane::remember_rest(const Rows& rows) {
    rest_.has_output = Rows::HAS_OUTPUT;
    for (std::size_t row = 0; row < REST_ROWS; ++row) {
        rest_.input[row] = rows.input(row);
        rest_.output[row] = rows.output(row);
    }
}

template bool OneLane::filter_forward(const float*);
template bool OneLane::filter_forward(const double*);
template bool OneLane::filter_backward(const double*, std::ptrdiff_t, float*);
template bool OneLane::filter_backward(const double*, std::ptrdiff_t, double*);

} // namespace talvora::dsp
