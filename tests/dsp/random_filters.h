// Filters and samples for comparing the vector paths with the plain definition: tame
// ones, and those that overflow, vanish or grow without bound.
#pragma once

#include "dsp/filter_set.h"
#include "dsp/same_bits.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <span>
#include <vector>

namespace talvora::dsp {

class RandomFilters {
  public:
    explicit RandomFilters(std::uint64_t seed) : engine_(seed) {}

    std::size_t count(std::size_t least, std::size_t most) {
        return std::uniform_int_distribution<std::size_t>(least, most)(engine_);
    }
    double number(double least, double most) {
        return std::uniform_real_distribution<double>(least, most)(engine_);
    }
    bool one_in(std::size_t chances) { return count(1, chances) == 1; }

    // The product of sections with poles inside the unit circle, or a little outside
    // when `growing`, times a gain that is now and then extreme.
    FilterCoefficients filter(std::size_t tap_count, bool growing) {
        FilterCoefficients filter = {{1.0}, {1.0}};
        for (std::size_t order = 1; order < tap_count; ++order) {
            multiply_by_root(filter.a, number(-1.0, 1.0) * (growing ? 1.3 : 0.97));
            multiply_by_root(filter.b, number(-1.0, 1.0));
        }
        const double gain = one_in(4) ? std::pow(10.0, number(-60.0, 60.0)) : number(0.1, 2.0);
        for (double& coefficient : filter.b) {
            coefficient *= gain;
        }
        return filter;
    }

    // Samples of one magnitude, from the smallest of their type to the largest, with stretches
    // of zeros and now and then an infinity; no NaN.
    template <class Sample = float>
    std::vector<Sample> samples(std::size_t sample_count) {
        using Limits = std::numeric_limits<Sample>;
        std::vector<Sample> samples(sample_count);
        const double least = std::log10(static_cast<double>(Limits::denorm_min()));
        const double most = std::log10(static_cast<double>(Limits::max()));
        const double scale = one_in(4) ? std::pow(10.0, number(least, most)) : 1.0;
        for (Sample& sample : samples) {
            sample = static_cast<Sample>(scale * number(-1.0, 1.0));
        }
        if (one_in(4)) {
            const std::size_t first = count(0, sample_count - 1);
            std::fill(samples.begin() + static_cast<std::ptrdiff_t>(first), samples.end(),
                      Sample());
        }
        if (one_in(10)) {
            samples[count(0, sample_count - 1)] = Limits::infinity();
        }
        return samples;
    }

    // That of a unit, or any other.
    std::optional<std::size_t> pad_count() {
        return one_in(3) ? std::nullopt : std::optional(one_in(4) ? 0 : count(0, 60));
    }

    template <class Sample>
    void make_gaps(std::vector<Sample>& samples) {
        for (std::size_t gap = count(0, 12); gap > 0; --gap) {
            const std::size_t first = count(0, samples.size() - 1);
            const std::size_t last = std::min(samples.size(), first + count(1, 20));
            for (std::size_t i = first; i < last; ++i) {
                samples[i] = std::numeric_limits<Sample>::quiet_NaN();
            }
        }
    }

  private:
    static void multiply_by_root(std::vector<double>& polynomial, double root) {
        polynomial.push_back(0.0);
        for (std::size_t i = polynomial.size() - 1; i > 0; --i) {
            polynomial[i] -= root * polynomial[i - 1];
        }
    }

    std::mt19937_64 engine_;
};

// The lines of a set as the plain definition filters them.
template <class Sample>
std::vector<Sample> filter_plainly(std::vector<Sample> samples, std::size_t line_length,
                                   const FilterCoefficients& coefficients,
                                   std::optional<std::size_t> pad_count = std::nullopt) {
    SetFilter<Sample>(FilterPath::Plain)
        .filter_in_place(samples, line_length, coefficients, pad_count);
    return samples;
}

template <class Sample>
std::vector<Run<Sample>> runs_between(const std::vector<std::vector<Sample>>& from,
                                      std::vector<std::vector<Sample>>& to) {
    std::vector<Run<Sample>> runs;
    for (std::size_t line = 0; line < to.size(); ++line) {
        runs.push_back({from[line].data(), to[line].data(), to[line].size()});
    }
    return runs;
}

template <class Sample>
std::vector<Run<Sample>> runs_in_place(std::vector<std::vector<Sample>>& lines) {
    return runs_between(lines, lines);
}

// The place of the first sample whose bits differ, or the size when none does. A NaN
// is a NaN whatever its sign and payload: they follow the order in which a processor
// meets two of them.
template <class Sample>
std::size_t first_difference(const std::vector<Sample>& left, const std::vector<Sample>& right) {
    for (std::size_t i = 0; i < left.size(); ++i) {
        const bool both_missing = std::isnan(left[i]) && std::isnan(right[i]);
        if (!both_missing && !same_bits(&left[i], &right[i], 1)) {
            return i;
        }
    }
    return left.size();
}

} // namespace talvora::dsp
