// The work on which benchmarks of the zero-phase filter are run.
#pragma once

#include "dsp/filter_coefficients.h"
#include "dsp/missing_samples.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace talvora::bench {

// scipy.signal.butter(2, 0.1) and butter(4, [0.1, 0.3], "bandpass")
inline const dsp::FilterCoefficients LOW_PASS = {
    {0.020083365564211232, 0.040166731128422464, 0.020083365564211232},
    {1.0, -1.5610180758007182, 0.6413515380575631}};
inline const dsp::FilterCoefficients BAND_PASS = {
    {0.0048243433577162325, 0.0, -0.01929737343086493, 0.0, 0.028946060146297393, 0.0,
     -0.01929737343086493, 0.0, 0.0048243433577162325},
    {1.0, -5.418231388368234, 13.529358698329691, -20.319265119781697, 20.071198861161175,
     -13.34437166183811, 5.8321067702203635, -1.5347300466579012, 0.1873794923681849}};

// The generator of Steele, Lea and Flood ("Fast splittable pseudorandom number
// generators", 2014) by position, so that peers make the same samples.
inline std::uint64_t random_word(std::uint64_t position) {
    std::uint64_t word = (position + 1) * 0x9E3779B97F4A7C15U;
    word = (word ^ (word >> 30U)) * 0xBF58476D1CE4E5B9U;
    word = (word ^ (word >> 27U)) * 0x94D049BB133111EBU;
    return word ^ (word >> 31U);
}

// From -1 to 1 in steps of 2^-23.
inline float random_sample(std::uint64_t position) {
    return static_cast<float>(random_word(position) >> 40U) * 0x1p-23F - 1.0F;
}

inline std::vector<float> random_samples(std::size_t count) {
    std::vector<float> samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = random_sample(i);
    }
    return samples;
}

// Gaps of 50 samples between runs of 200 to 1699: one sample in twenty is missing.
inline std::vector<float> samples_with_bursts(std::size_t count) {
    std::vector<float> samples = random_samples(count);
    for (std::size_t i = 0, burst = 0; i + 50 < count; ++burst) {
        i += 200 + random_word(burst) % 1500;
        for (const std::size_t end = std::min(i + 50, count); i < end; ++i) {
            samples[i] = dsp::MISSING_SAMPLE;
        }
    }
    return samples;
}

inline std::vector<float> samples_that_fall_silent(std::size_t line_count,
                                                   std::size_t line_length) {
    std::vector<float> samples = random_samples(line_count * line_length);
    for (std::size_t line = 0; line < line_count; ++line) {
        const auto begin = samples.begin() + static_cast<std::ptrdiff_t>(line * line_length);
        std::fill(begin + static_cast<std::ptrdiff_t>(line_length / 10),
                  begin + static_cast<std::ptrdiff_t>(line_length), 0.0F);
    }
    return samples;
}

struct SetShape {
    std::uint64_t line_count;
    std::uint64_t line_length;
};

// Sets that follow each other in `samples`. What is small is done again and again, on fresh samples
// each time.
struct FilterWork {
    std::string name;
    std::vector<float> samples;
    std::vector<SetShape> sets;
    const dsp::FilterCoefficients& filter = LOW_PASS;
    int repeat_count = 1;
};

inline std::vector<SetShape> sets_of_one_shape(std::size_t set_count, SetShape shape) {
    return std::vector<SetShape>(set_count, shape);
}

// Of one line each, some twice as long as others.
inline FilterWork work_of_unlike_lines(std::string name, std::size_t set_count,
                                       std::uint64_t shortest) {
    std::vector<SetShape> sets;
    std::size_t sample_count = 0;
    for (std::size_t i = 0; i < set_count; ++i) {
        sets.push_back({1, shortest + random_word(i) % (shortest + 1)});
        sample_count += sets.back().line_length;
    }
    return {std::move(name), random_samples(sample_count), std::move(sets)};
}

} // namespace talvora::bench
