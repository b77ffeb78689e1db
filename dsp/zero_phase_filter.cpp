#include "dsp/zero_phase_filter.h"

#include <Eigen/Dense>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <stdexcept>

namespace talvora::dsp {

namespace {

constexpr double ROUNDING_UNIT = std::numeric_limits<double>::epsilon();

std::vector<double> pad_with_zeros(std::span<const double> values, std::size_t length) {
    std::vector<double> padded(length, 0.0);
    std::copy(values.begin(), values.end(), padded.begin());
    return padded;
}

void divide_all(std::vector<double>& values, double divisor) {
    for (double& value : values) {
        value /= divisor;
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

// A pass that begins at rest on its own first sample.
std::vector<double> filter_from_rest(const PreparedFilter& filter, std::span<const double> x) {
    return linear_filter(filter.b, filter.a, x, scaled(filter.steady_state, x.front()));
}

} // namespace

bool PreparedFilter::has_missing_coefficient() const {
    return has_nan(steady_state) && (has_nan(b) || has_nan(a));
}

PreparedFilter prepare_filter(const FilterCoefficients& coefficients) {
    PreparedFilter filter;
    const std::size_t tap_count = std::max(coefficients.b.size(), coefficients.a.size());
    filter.b = pad_with_zeros(coefficients.b, tap_count);
    filter.a = pad_with_zeros(coefficients.a, tap_count);
    if (tap_count == 0) {
        return filter;
    }
    const double leading = filter.a[0];
    if (std::abs(leading - 1.0) >= ROUNDING_UNIT) {
        divide_all(filter.b, leading);
        divide_all(filter.a, leading);
    }
    filter.steady_state = steady_state_initial_conditions(filter.b, filter.a);
    return filter;
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
    const std::size_t tap_count = std::max(b.size(), a.size());
    if (tap_count == 0) {
        return y;
    }
    std::vector<double> b_taps = pad_with_zeros(b, tap_count);
    std::vector<double> a_taps = pad_with_zeros(a, tap_count);
    const double leading = a_taps[0];
    if (leading == 0.0) {
        std::fputs("Impossible to filter the signal, the first element of the denominator is "
                   "equal to 0.\n",
                   stderr);
        return y;
    }
    if (std::abs(leading - 1.0) > ROUNDING_UNIT) {
        divide_all(b_taps, leading);
        divide_all(a_taps, leading);
    }
    std::vector<double> z = pad_with_zeros(z0, std::max(tap_count - 1, z0.size()));
    const std::size_t last = tap_count - 1;
    for (double& sample : y) {
        const double input = sample;
        sample = b_taps[0] * input;
        if (last == 0) {
            continue;
        }
        sample += z[0];
        for (std::size_t i = 0; i + 1 < last; ++i) {
            z[i] = z[i + 1] + b_taps[i + 1] * input - a_taps[i + 1] * sample;
        }
        z[last - 1] = b_taps[last] * input - a_taps[last] * sample;
    }
    return y;
}

std::vector<double> zero_phase_filter(std::span<const double> x, const PreparedFilter& filter) {
    const std::size_t pad_count = filter.pad_count();
    if (filter.tap_count() == 0 || x.empty()) {
        return {x.begin(), x.end()};
    }
    if (x.size() <= pad_count) {
        throw std::invalid_argument("a run must be longer than the padding of its filter");
    }
    std::vector<double> y = filter_from_rest(filter, extend_by_odd_reflection(x, pad_count));
    std::reverse(y.begin(), y.end());
    y = filter_from_rest(filter, y);
    std::reverse(y.begin(), y.end());
    const auto first = y.begin() + static_cast<std::ptrdiff_t>(pad_count);
    return {first, first + static_cast<std::ptrdiff_t>(x.size())};
}

std::vector<double> zero_phase_filter(std::span<const double> x, std::span<const double> b,
                                      std::span<const double> a) {
    return zero_phase_filter(x, prepare_filter({{b.begin(), b.end()}, {a.begin(), a.end()}}));
}

} // namespace talvora::dsp
