// Silence: the results stay those of the plain loop to the last bit, and little of them
// is computed.
#include "dsp/filter_set.h"
#include "dsp/long_run.h"
#include "dsp/run_group.h"
#include "tests/dsp/random_filters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace talvora::dsp {
namespace {

// scipy.signal.butter(2, 0.1), and a filter of one pole at -0.7 that turns about zero.
const FilterCoefficients LOW_PASS = {
    {0.020083365564211232, 0.040166731128422464, 0.020083365564211232},
    {1.0, -1.5610180758007182, 0.6413515380575631}};
const FilterCoefficients ALTERNATING = {{0.1, 0.1}, {1.0, 0.7}};

using Line = std::vector<float>;

std::size_t filtered_row_count;
std::size_t filtering_count;

void count_and_filter_forward(const LaneFilter& filter, const float* const* lines,
                              std::size_t row_count, double* rows,
                              const Upcoming<float>* upcoming) {
    filtered_row_count += row_count;
    ++filtering_count;
    BASELINE_LANE_KERNELS.filter_forward(filter, lines, row_count, rows, upcoming);
}

void count_and_filter_backward(const LaneFilter& filter, const double* rows, std::size_t row_count,
                               float* const* lines, const Upcoming<float>* upcoming) {
    filtered_row_count += row_count;
    ++filtering_count;
    BASELINE_LANE_KERNELS.filter_backward(filter, rows, row_count, lines, upcoming);
}

// The kernels of every processor, counting.
LaneKernels<float> counting_kernels() {
    LaneKernels<float> kernels = BASELINE_LANE_KERNELS;
    kernels.filter_forward = count_and_filter_forward;
    kernels.filter_backward = count_and_filter_backward;
    filtered_row_count = 0;
    filtering_count = 0;
    return kernels;
}

constexpr std::size_t LANE_COUNT = 4; // fewer than any kernels have

std::vector<Line> lines_silent_between(std::size_t first, std::size_t last, std::size_t length) {
    RandomFilters random(8);
    std::vector<Line> lines;
    for (std::size_t line = 0; line < LANE_COUNT; ++line) {
        lines.emplace_back(length);
        std::ranges::generate(lines.back(),
                              [&] { return static_cast<float>(random.number(-1.0, 1.0)); });
        std::fill(lines.back().begin() + static_cast<std::ptrdiff_t>(first),
                  lines.back().begin() + static_cast<std::ptrdiff_t>(last), 0.0F);
    }
    return lines;
}

void expect_plain_bits(const std::vector<Line>& lines, const std::vector<Line>& samples,
                       const FilterCoefficients& coefficients) {
    for (std::size_t line = 0; line < lines.size(); ++line) {
        const Line expected = filter_plainly(samples[line], samples[line].size(), coefficients);
        ASSERT_EQ(first_difference(lines[line], expected), expected.size()) << "line " << line;
    }
}

std::size_t filter_side_by_side_and_count(std::vector<Line>& lines,
                                          const FilterCoefficients& coefficients) {
    const LaneKernels<float> kernels = counting_kernels();
    const std::vector<std::span<float>> runs(lines.begin(), lines.end());
    LaneScratch scratch;
    run_group(runs, {}, prepare_filter(coefficients), kernels, scratch);
    return filtered_row_count;
}

// How many of a thousand rows are computed of those of lines that are never silent.
std::size_t filter_side_by_side_and_compare(std::vector<Line>& lines,
                                            const FilterCoefficients& coefficients) {
    std::vector<Line> noise = lines_silent_between(0, 0, lines[0].size());
    const std::size_t most = filter_side_by_side_and_count(noise, coefficients);
    return 1000 * filter_side_by_side_and_count(lines, coefficients) / most;
}

TEST(Silence, ComputesLittleOfLinesThatFallSilentAndKeepsThePlainBits) {
    for (const FilterCoefficients& filter : {LOW_PASS, ALTERNATING}) {
        const auto samples = lines_silent_between(3'000, 30'000, 30'000);
        auto lines = samples;
        EXPECT_LT(filter_side_by_side_and_compare(lines, filter), 300U);
        expect_plain_bits(lines, samples, filter);
    }
}

TEST(Silence, KeepsThePlainBitsWhenASignalComesBack) {
    for (const FilterCoefficients& filter : {LOW_PASS, ALTERNATING}) {
        const auto samples = lines_silent_between(1'000, 25'000, 30'000);
        auto lines = samples;
        EXPECT_LT(filter_side_by_side_and_compare(lines, filter), 400U);
        expect_plain_bits(lines, samples, filter);
    }
}

TEST(Silence, KeepsThePlainBitsOfLinesInSegments) {
    const auto samples = lines_silent_between(5'000, 80'000, 100'000);
    auto lines = samples;
    filter_side_by_side_and_count(lines, LOW_PASS);
    expect_plain_bits(lines, samples, LOW_PASS);
}

TEST(Silence, KeepsThePlainBitsOfSteadyAndUnequalLines) {
    std::vector<Line> samples(LANE_COUNT);
    for (std::size_t line = 0; line < samples.size(); ++line) {
        samples[line].assign(20'000 - 900 * line, static_cast<float>(line % 3));
    }
    auto lines = samples;
    EXPECT_LT(filter_side_by_side_and_compare(lines, LOW_PASS), 1000U);
    expect_plain_bits(lines, samples, LOW_PASS);
}

// A constant, of which a filter without a direct way makes zeros as well, and zeros of either sign.
TEST(Silence, KeepsThePlainBitsOfLanesThatRestByThemselves) {
    auto samples = lines_silent_between(2'000, 20'000, 30'000);
    RandomFilters random(14);
    std::ranges::generate(samples[0], [&] { return static_cast<float>(random.number(-1, 1)); });
    std::fill(samples[1].begin() + 2'000, samples[1].begin() + 20'000, -0.0F);
    std::fill(samples[2].begin() + 5'000, samples[2].end(), 0.3F);
    const FilterCoefficients high_pass = {{0.25, -0.5, 0.25}, {1.0, 0.5, 0.25}};
    for (const FilterCoefficients& filter : {LOW_PASS, ALTERNATING, high_pass}) {
        auto lines = samples;
        filter_side_by_side_and_count(lines, filter);
        expect_plain_bits(lines, samples, filter);
    }
}

// What the first pass leaves behind a signal is too small for the state of the second.
TEST(Silence, KeepsThePlainBitsWhereTheStateIsZeroAndTheInputAlmost) {
    const FilterCoefficients high_pass = {{0.05, -0.05}, {1.0, 0.9}};
    auto samples = lines_silent_between(3'000, 30'000, 30'000);
    RandomFilters random(15);
    std::ranges::generate(samples[3], [&] { return static_cast<float>(random.number(-1, 1)); });
    auto lines = samples;
    filter_side_by_side_and_count(lines, high_pass);
    expect_plain_bits(lines, samples, high_pass);
}

// Shorter stretches are looked at where a state has faded to almost nothing; exact zeros and
// constants take no longer than a signal.
TEST(Silence, SlowsNoLinesBesideOthersThatNeverHadASignal) {
    auto samples = lines_silent_between(0, 0, 20'000);
    auto lines = samples;
    filter_side_by_side_and_count(lines, LOW_PASS);
    const std::size_t expected = filtering_count;
    std::ranges::fill(samples[1], 0.0F);
    std::ranges::fill(samples[2], 0.3F);
    lines = samples;
    filter_side_by_side_and_count(lines, LOW_PASS);
    EXPECT_EQ(filtering_count, expected);
    expect_plain_bits(lines, samples, LOW_PASS);
}

TEST(Silence, KeepsThePlainBitsOfALongRunThatFallsSilent) {
    const auto samples = lines_silent_between(30'000, 150'000, 200'000);
    for (std::size_t line = 0; line < 3; ++line) {
        std::vector<Line> lines = {samples[line]};
        const LaneKernels<float> kernels = counting_kernels();
        LaneScratch scratch;
        filter_long_run(lines[0], prepare_filter(LOW_PASS), kernels, scratch);
        expect_plain_bits(lines, {samples[line]}, LOW_PASS);
    }
}

} // namespace
} // namespace talvora::dsp
