#include "host/tree/sample_rounding.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <type_traits>

namespace talvora::host {
namespace {

// Conversions round to nearest, and to infinity beyond the greatest float.
static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559);

// Holds each sample as it is.
static_assert(std::numeric_limits<long double>::digits >= 64);
template <typename Stored>
using Exact = std::conditional_t<std::is_integral_v<Stored> && sizeof(Stored) == sizeof(double),
                                 long double, double>;

constexpr int DIGITS_OF_CALCULATIONS = 16; // of those that a 64-bit float ends in
template <typename Stored>
constexpr double LAST_DIGITS =
    std::is_integral_v<Stored> ? 0
                               : DIGITS_OF_CALCULATIONS * std::numeric_limits<double>::epsilon();

} // namespace

void RoundingChange::add(const RoundingChange& other) {
    largest_change = std::max(largest_change, other.largest_change);
    largest_sample = std::max(largest_sample, other.largest_sample);
    least = std::min(least, other.least);
    greatest = std::max(greatest, other.greatest);
    last_digits = std::max(last_digits, other.last_digits);
}

double RoundingChange::part_of_range() const {
    const double range = greatest - least;
    return range > last_digits * largest_sample ? largest_change / range : 0;
}

// The change of NaN and of infinity is NaN, which no comparison takes for the largest. Samples go
// in lanes side by side, so that none waits for the one before.
template <typename Stored>
RoundingChange round_samples(std::span<const Stored> stored, std::span<float> rounded) {
    constexpr auto LARGEST = static_cast<Exact<Stored>>(std::numeric_limits<double>::max());
    constexpr std::size_t LANES = 4;
    std::array<Exact<Stored>, LANES> largest_change{};
    std::array<Exact<Stored>, LANES> least;
    std::array<Exact<Stored>, LANES> greatest;
    constexpr auto INFINITE = std::numeric_limits<Exact<Stored>>::infinity();
    least.fill(INFINITE);
    greatest.fill(-INFINITE);
    const auto round = [&](std::size_t position, std::size_t lane) {
        const auto sample = static_cast<Exact<Stored>>(stored[position]);
        rounded[position] = static_cast<float>(stored[position]);
        const auto change = std::abs(sample - static_cast<Exact<Stored>>(rounded[position]));
        const bool is_finite = std::abs(sample) <= LARGEST;
        largest_change[lane] = change > largest_change[lane] ? change : largest_change[lane];
        least[lane] = is_finite && sample < least[lane] ? sample : least[lane];
        greatest[lane] = is_finite && sample > greatest[lane] ? sample : greatest[lane];
    };
    const std::size_t in_lanes = stored.size() / LANES * LANES;
    for (std::size_t i = 0; i < in_lanes; i += LANES) {
        for (std::size_t lane = 0; lane < LANES; ++lane) {
            round(i + lane, lane);
        }
    }
    for (std::size_t i = in_lanes; i < stored.size(); ++i) {
        round(i, 0);
    }
    RoundingChange change{.largest_change =
                              static_cast<double>(*std::ranges::max_element(largest_change)),
                          .least = static_cast<double>(*std::ranges::min_element(least)),
                          .greatest = static_cast<double>(*std::ranges::max_element(greatest)),
                          .last_digits = LAST_DIGITS<Stored>};
    if (change.least <= change.greatest) {
        change.largest_sample = std::max(std::abs(change.least), std::abs(change.greatest));
    }
    return change;
}

template RoundingChange round_samples(std::span<const float>, std::span<float>);
template RoundingChange round_samples(std::span<const double>, std::span<float>);
template RoundingChange round_samples(std::span<const std::int32_t>, std::span<float>);
template RoundingChange round_samples(std::span<const std::int64_t>, std::span<float>);
template RoundingChange round_samples(std::span<const std::uint64_t>, std::span<float>);

} // namespace talvora::host
