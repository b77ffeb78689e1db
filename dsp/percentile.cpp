#include "dsp/percentile.h"

#include "dsp/made_samples.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace talvora::dsp {

namespace {

constexpr float NEGLIGIBLE = 1e-5F;

// Quicksort of [low, high] with the middle value as pivot. Where NaNs end up is part
// of the result, so the order of comparisons and swaps is fixed here and not left to
// a library: a NaN stops both scans, which is also why they stay inside.
void sort_ascending(std::span<float> values, std::int64_t low, std::int64_t high) {
    while (low < high) {
        const float pivot = values[static_cast<std::size_t>((low + high) / 2)];
        std::int64_t i = low;
        std::int64_t j = high;
        while (i <= j) {
            while (values[static_cast<std::size_t>(i)] < pivot) {
                ++i;
            }
            while (values[static_cast<std::size_t>(j)] > pivot) {
                --j;
            }
            if (i <= j) {
                std::swap(values[static_cast<std::size_t>(i++)],
                          values[static_cast<std::size_t>(j--)]);
            }
        }
        sort_ascending(values, low, j);
        low = i;
    }
}

std::vector<float> sort_copy(std::span<const float> values) {
    std::vector<float> sorted(values.begin(), values.end());
    sort_ascending(sorted, 0, static_cast<std::int64_t>(sorted.size()) - 1);
    return sorted;
}

bool is_median(float percent) {
    return std::abs(percent - 50.0F) <= NEGLIGIBLE * std::max(std::abs(percent), 50.0F);
}

float find_median(std::span<const float> sorted) {
    const std::size_t middle = sorted.size() / 2;
    if (sorted.size() % 2 != 0) {
        return sorted[middle];
    }
    const auto upper = static_cast<double>(sorted[middle]);
    const auto lower = static_cast<double>(sorted[middle - 1]);
    if (std::isnan(lower)) {
        return quieted(sorted[middle - 1]);
    }
    return made_sample(static_cast<float>((upper + lower) * 0.5), sorted[middle]);
}

// The percentage at which the value of the given rank, or half-way rank, stands.
float percent_of_rank(double rank, double count) {
    return static_cast<float>((rank + 0.5) * 100.0 / count);
}

// Between the first and the last rank.
float interpolate_ranks(std::span<const float> sorted, float percent) {
    const auto count = static_cast<double>(sorted.size());
    const float scaled = percent / 100.0F * static_cast<float>(sorted.size());
    const auto rank = static_cast<float>(static_cast<double>(scaled) - 0.5);
    const float lower_rank = std::floor(std::max(rank, 0.0F));
    const auto k = static_cast<std::size_t>(lower_rank);
    if (std::abs(rank - lower_rank) < NEGLIGIBLE) {
        return sorted[k];
    }
    const auto lower = static_cast<double>(sorted[k]);
    const auto upper = static_cast<double>(sorted[k + 1]);
    if (std::isnan(lower)) {
        return quieted(sorted[k]);
    }
    const auto beyond =
        static_cast<double>(percent - percent_of_rank(static_cast<double>(lower_rank), count));
    return made_sample(static_cast<float>(beyond * (count / 100.0) * (upper - lower) + lower),
                       sorted[k + 1]);
}

} // namespace

float percentile(std::span<const float> values, float percent) {
    if (values.size() == 1) {
        return values.front();
    }
    const std::vector<float> sorted = sort_copy(values);
    const auto count = static_cast<double>(sorted.size());
    if (is_median(percent)) {
        return find_median(sorted);
    }
    if (percent <= percent_of_rank(0.0, count)) {
        return sorted.front();
    }
    if (percent >= percent_of_rank(count - 1.0, count)) {
        return sorted.back();
    }
    return interpolate_ranks(sorted, percent);
}

} // namespace talvora::dsp
