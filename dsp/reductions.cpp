#include "dsp/reductions.h"

#include "dsp/missing_samples.h"
#include "dsp/vector_operations.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace talvora::dsp {

namespace {

// Eight vectors in flight hide the latency of an addition at two per cycle and leave
// half of the registers free. The baseline instruction set then takes in 32 bytes per
// cycle, as much as the second-level cache gives; wider vectors would gain nothing.
constexpr std::size_t LANE_COUNT = 4;
constexpr std::size_t VECTOR_COUNT = 8;
constexpr std::size_t BLOCK_LENGTH = LANE_COUNT * VECTOR_COUNT;

struct Addition {
    // Adding a positive zero would take the sign off a sum of negative zeros.
    static constexpr float NEUTRAL = -0.0F;
    static void combine(Floats& totals, const Floats& samples) { totals += samples; }
};

struct Maximum {
    static constexpr float NEUTRAL = -std::numeric_limits<float>::infinity();
    static void combine(Floats& totals, const Floats& samples) { take_greater(totals, samples); }
};

template <typename Operation>
void combine_block(Floats (&totals)[VECTOR_COUNT], const float* block) {
    for (std::size_t i = 0; i < VECTOR_COUNT; ++i) {
        Floats samples;
        load(samples, block + i * LANE_COUNT);
        Operation::combine(totals[i], samples);
    }
}

template <typename Operation>
void combine_last_block(Floats (&totals)[VECTOR_COUNT], std::span<const float> samples) {
    float block[BLOCK_LENGTH];
    std::ranges::fill(block, Operation::NEUTRAL);
    std::ranges::copy(samples, block);
    combine_block<Operation>(totals, block);
}

template <typename Operation>
float combine_lanes(Floats totals) {
    Operation::combine(totals, __builtin_shufflevector(totals, totals, 2, 3, 2, 3));
    Operation::combine(totals, __builtin_shufflevector(totals, totals, 1, 1, 1, 1));
    return totals[0];
}

template <typename Operation>
float combine_totals(Floats (&totals)[VECTOR_COUNT]) {
    for (std::size_t width = VECTOR_COUNT / 2; width > 0; width /= 2) {
        for (std::size_t i = 0; i < width; ++i) {
            Operation::combine(totals[i], totals[i + width]);
        }
    }
    return combine_lanes<Operation>(totals[0]);
}

template <typename Operation>
float reduce(std::span<const float> samples) {
    Floats totals[VECTOR_COUNT];
    std::ranges::fill(totals, Operation::NEUTRAL - Floats{});
    for (; samples.size() >= BLOCK_LENGTH; samples = samples.subspan(BLOCK_LENGTH)) {
        combine_block<Operation>(totals, samples.data());
    }
    if (!samples.empty()) {
        combine_last_block<Operation>(totals, samples);
    }
    return combine_totals<Operation>(totals);
}

float find_first_equal(std::span<const float> samples, float value) {
    const auto found = std::ranges::find(samples, value);
    return found != samples.end() ? *found : MISSING_SAMPLE;
}

} // namespace

float mean(std::span<const float> samples) {
    const float mean = reduce<Addition>(samples) / static_cast<float>(samples.size());
    return std::isnan(mean) ? MISSING_SAMPLE : mean;
}

float maximum(std::span<const float> samples) {
    const float greatest = reduce<Maximum>(samples);
    // Equal to nothing but itself, except for a zero, which has two signs, and for the
    // neutral value, which stands there too when there was no number.
    const bool is_settled = greatest != 0.0F && greatest != Maximum::NEUTRAL;
    return is_settled ? greatest : find_first_equal(samples, greatest);
}

} // namespace talvora::dsp
