#include "dsp/zero_phase_filter.h"

#include "dsp/filter_sample.h"

#include <Eigen/Dense>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <utility>

namespace talvora::dsp {

namespace {

constexpr double ROUNDING_UNIT = std::numeric_limits<double>::epsilon();

std::vector<double> pad_with_zeros(std::span<const double> values, std::size_t length) {
    std::vector<double> padded(length, 0.0);
    std::copy(values.begin(), values.end(), padded.begin());
    return padded;
}

FilterCoefficients pad_to_one_length(std::span<const double> b, std::span<const double> a) {
    const std::size_t tap_count = std::max(b.size(), a.size());
    return {pad_with_zeros(b, tap_count), pad_with_zeros(a, tap_count)};
}

void divide_by_leading(FilterCoefficients& filter) {
    const double leading = filter.a[0];
    for (std::vector<double>* const values : {&filter.b, &filter.a}) {
        for (double& value : *values) {
            value /= leading;
        }
    }
}

bool has_nan(std::span<const double> values) {
    return std::ranges::any_of(values, [](double value) { return std::isnan(value); });
}

// The right-hand side of the steady state's equations: r[j] = b[j + 1] - b[0] a[j + 1].
Eigen::VectorXd steady_state_drive(std::span<const double> b, std::span<const double> a) {
    Eigen::VectorXd drive(static_cast<Eigen::Index>(b.size()) - 1);
    for (std::size_t j = 0; j + 1 < b.size(); ++j) {
        drive[static_cast<Eigen::Index>(j)] = b[j + 1] - b[0] * a[j + 1];
    }
    return drive;
}

// I - S of the state recurrence: S has -a[1..] as its first column and ones above
// its diagonal.
Eigen::MatrixXd steady_state_matrix(std::span<const double> a) {
    const auto order = static_cast<Eigen::Index>(a.size()) - 1;
    Eigen::MatrixXd matrix = Eigen::MatrixXd::Identity(order, order);
    for (Eigen::Index row = 0; row < order; ++row) {
        matrix(row, 0) += a[static_cast<std::size_t>(row) + 1];
        if (row + 1 < order) {
            matrix(row, row + 1) -= 1.0;
        }
    }
    return matrix;
}

std::vector<double> scaled(std::span<const double> values, double factor) {
    std::vector<double> result(values.begin(), values.end());
    for (double& value : result) {
        value *= factor;
    }
    return result;
}

std::vector<double> extend_by_odd_reflection(std::span<const double> x, std::size_t pad_count) {
    std::vector<double> extended;
    extended.reserve(x.size() + 2 * pad_count);
    for (std::size_t back = pad_count; back > 0; --back) {
        extended.push_back(2.0 * x.front() - x[back]);
    }
    extended.insert(extended.end(), x.begin(), x.end());
    for (std::size_t back = 1; back <= pad_count; ++back) {
        extended.push_back(2.0 * x.back() - x[x.size() - 1 - back]);
    }
    return extended;
}

// Straight to the stream: the numbers know no host that could be told instead.
void report_missing_denominator() {
    std::fputs("Impossible to filter the signal, the first element of the denominator is "
               "equal to 0.\n",
               stderr);
}

// Passes that begin at rest on their own first sample.
std::vector<double> filter_from_rest(const PreparedFilter& filter, std::span<const double> x) {
    return linear_filter(filter.b, filter.a, x, scaled(filter.steady_state, x.front()));
}

std::vector<double> convolve_from_rest(const PreparedFilter& filter, std::span<const double> x) {
    std::vector<double> y(x.begin(), x.end());
    std::vector<double> z = scaled(filter.steady_state, x.front());
    z.push_back(0.0);
    for (double& sample : y) {
        const double input = sample;
        sample = filter.b[0] * input + z[0];
        for (std::size_t i = 1; i < filter.b.size(); ++i) {
            z[i - 1] = z[i] + filter.b[i] * input;
        }
    }
    return y;
}

template <class Pass>
std::vector<double> pass_both_ways(std::span<const double> x, const PreparedFilter& filter,
                                   Pass pass) {
    const std::size_t pad_count = filter.pad_count();
    if (filter.tap_count() == 0 || x.empty()) {
        return {x.begin(), x.end()};
    }
    if (x.size() <= pad_count) {
        throw std::invalid_argument("a run must be longer than the padding of its filter");
    }
    std::vector<double> y = pass(filter, extend_by_odd_reflection(x, pad_count));
    std::reverse(y.begin(), y.end());
    y = pass(filter, y);
    std::reverse(y.begin(), y.end());
    const auto first = y.begin() + static_cast<std::ptrdiff_t>(pad_count);
    return {first, first + static_cast<std::ptrdiff_t>(x.size())};
}

} // namespace

Padding padding_for(std::size_t tap_count, std::optional<std::size_t> pad_count) {
    if (pad_count) {
        return {*pad_count, std::max(*pad_count, *pad_count + 1)}; // no run has them all
    }
    return tap_count == 0 ? Padding{} : Padding{3 * (tap_count - 1), 3 * tap_count - 1};
}

bool PreparedFilter::has_feedback() const {
    return std::any_of(a.begin() + std::min<std::ptrdiff_t>(1, std::ssize(a)), a.end(),
                       [](double value) { return value != 0.0; });
}

bool PreparedFilter::has_missing_coefficient() const {
    return has_nan(steady_state) && (has_nan(b) || has_nan(a));
}

PreparedFilter prepare_filter(const FilterCoefficients& coefficients,
                              std::optional<std::size_t> pad_count) {
    FilterCoefficients filter = pad_to_one_length(coefficients.b, coefficients.a);
    if (filter.a.empty()) {
        return {};
    }
    if (std::abs(filter.a[0] - 1.0) >= ROUNDING_UNIT) {
        divide_by_leading(filter);
    }
    std::vector<double> steady_state = steady_state_initial_conditions(filter.b, filter.a);
    const Padding padding = padding_for(filter.b.size(), pad_count);
    return {std::move(filter.b), std::move(filter.a), std::move(steady_state), padding};
}

std::vector<double> steady_state_initial_conditions(std::span<const double> b,
                                                    std::span<const double> a) {
    if (b.size() < 2) {
        return {};
    }
    if (b.size() == 2) {
        return {(b[1] - a[1] * b[0]) / (a[1] + 1.0)};
    }
    // What the solution would come to, but without the cube of the taps: a design of an
    // order beyond reason is made of NaN.
    if (has_nan(b) || has_nan(a)) {
        return std::vector(b.size() - 1, std::numeric_limits<double>::quiet_NaN());
    }
    const Eigen::VectorXd state =
        steady_state_matrix(a).partialPivLu().solve(steady_state_drive(b, a));
    return {state.begin(), state.end()};
}

std::vector<double> linear_filter(std::span<const double> b, std::span<const double> a,
                                  std::span<const double> x, std::span<const double> z0) {
    std::vector<double> y(x.begin(), x.end());
    FilterCoefficients filter = pad_to_one_length(b, a);
    if (filter.a.empty()) {
        return y;
    }
    if (filter.a[0] == 0.0) {
        report_missing_denominator();
        return y;
    }
    if (std::abs(filter.a[0] - 1.0) > ROUNDING_UNIT) {
        divide_by_leading(filter);
    }
    std::vector<double> z = pad_with_zeros(z0, std::max(filter.a.size() - 1, z0.size()));
    for (double& sample : y) {
        sample = filter_sample(filter.b, filter.a, z, sample);
    }
    return y;
}

std::vector<double> zero_phase_filter(std::span<const double> x, const PreparedFilter& filter) {
    return pass_both_ways(x, filter, filter_from_rest);
}

std::vector<double> zero_phase_convolution(std::span<const double> x,
                                           const PreparedFilter& filter) {
    return pass_both_ways(x, filter, convolve_from_rest);
}

} // namespace talvora::dsp
