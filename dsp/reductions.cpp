#include "dsp/reductions.h"

#include "dsp/missing_samples.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <immintrin.h>
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
    static __m128 combine(__m128 total, __m128 samples) { return _mm_add_ps(total, samples); }
};

struct Maximum {
    static constexpr float NEUTRAL = -std::numeric_limits<float>::infinity();
    // The instruction gives its second operand when either one is NaN: here the total,
    // which never is.
    static __m128 combine(__m128 total, __m128 samples) { return _mm_max_ps(samples, total); }
};

template <typename Operation>
void combine_block(__m128 (&totals)[VECTOR_COUNT], const float* block) {
    for (std::size_t i = 0; i < VECTOR_COUNT; ++i) {
        totals[i] = Operation::combine(totals[i], _mm_loadu_ps(block + i * LANE_COUNT));
    }
}

template <typename Operation>
void combine_last_block(__m128 (&totals)[VECTOR_COUNT], std::span<const float> samples) {
    float block[BLOCK_LENGTH];
    std::ranges::fill(block, Operation::NEUTRAL);
    std::ranges::copy(samples, block);
    combine_block<Operation>(totals, block);
}

template <typename Operation>
float combine_lanes(__m128 total) {
    const __m128 halves = Operation::combine(total, _mm_movehl_ps(total, total));
    return _mm_cvtss_f32(
        Operation::combine(halves, _mm_shuffle_ps(halves, halves, _MM_SHUFFLE(1, 1, 1, 1))));
}

template <typename Operation>
float combine_totals(__m128 (&totals)[VECTOR_COUNT]) {
    for (std::size_t width = VECTOR_COUNT / 2; width > 0; width /= 2) {
        for (std::size_t i = 0; i < width; ++i) {
            totals[i] = Operation::combine(totals[i], totals[i + width]);
        }
    }
    return combine_lanes<Operation>(totals[0]);
}

template <typename Operation>
float reduce(std::span<const float> samples) {
    __m128 totals[VECTOR_COUNT];
    std::ranges::fill(totals, _mm_set1_ps(Operation::NEUTRAL));
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
