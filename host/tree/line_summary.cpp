#include "host/tree/line_summary.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace talvora::host {

void LineSummary::add(const LineSummary& other) {
    sum += other.sum;
    squares += other.squares;
    least = std::min(least, other.least);
    greatest = std::max(greatest, other.greatest);
}

// Samples go in lanes side by side, in a loop for each number, so that the compiler makes vector
// instructions of them.
void LineSummary::add(std::span<const float> samples) {
    constexpr std::size_t LANES = 32;
    constexpr LineSummary NONE;
    std::array<double, LANES> sums{};
    std::array<double, LANES> square_sums{};
    std::array<float, LANES> leasts;
    std::array<float, LANES> greatests;
    leasts.fill(NONE.least);
    greatests.fill(NONE.greatest);
    const std::size_t in_lanes = samples.size() / LANES * LANES;
    for (std::size_t i = 0; i < in_lanes; i += LANES) {
        const auto block = samples.subspan(i, LANES);
        for (std::size_t lane = 0; lane < LANES; ++lane) {
            sums[lane] += static_cast<double>(block[lane]);
        }
        for (std::size_t lane = 0; lane < LANES; ++lane) {
            const auto value = static_cast<double>(block[lane]);
            square_sums[lane] += value * value;
        }
        for (std::size_t lane = 0; lane < LANES; ++lane) {
            leasts[lane] = block[lane] < leasts[lane] ? block[lane] : leasts[lane];
        }
        for (std::size_t lane = 0; lane < LANES; ++lane) {
            greatests[lane] = block[lane] > greatests[lane] ? block[lane] : greatests[lane];
        }
    }
    for (std::size_t lane = 0; lane < LANES; ++lane) {
        add({sums[lane], leasts[lane], greatests[lane], square_sums[lane]});
    }
    for (const float sample : samples.subspan(in_lanes)) {
        add(sample);
    }
}

} // namespace talvora::host
