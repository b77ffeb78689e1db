// Times as a recorder with a coarse clock writes them.
#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

namespace talvora::host {

// `count` times, equally spaced, cut to whole ticks, the first of them `start` ticks.
inline std::vector<double> in_ticks(double rate, std::size_t count, double ticks_per_second,
                                    double start = 0) {
    std::vector<double> times;
    for (std::size_t i = 0; i < count; ++i) {
        const double ticks = static_cast<double>(i) / rate * ticks_per_second;
        times.push_back((start + std::floor(ticks + 1e-6)) / ticks_per_second);
    }
    return times;
}

} // namespace talvora::host
