// Silence: the results stay those of the plain loop to the last bit, and little of them
// is computed.
#include "dsp/block_passes.h"
#include "dsp/filter_set.h"
#include "dsp/lane_filter.h"
#include "dsp/long_run.h"
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

void count_and_filter_rows(const RowPass& pass) {
    filtered_row_count += pass.row_count;
    SSE2_LANE_KERNELS.filter_rows(pass);
}

// The kernels of every processor, counting.
LaneKernels counting_kernels() {
    LaneKernels kernels = SSE2_LANE_KERNELS;
    kernels.filter_rows = count_and_filter_rows;
    filtered_row_count = 0;
    return kernels;
}

std::vector<Line> lines_silent_between(std::size_t first, std::size_t last, std::size_t length) {
    RandomFilters random(8);
    std::vector<Line> lines;
    for (std::size_t line = 0; line < MAX_LANE_COUNT; ++line) {
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

// How many of a thousand rows of both passes are computed.
std::size_t filter_side_by_side_and_count(std::vector<Line>& lines,
                                          const FilterCoefficients& coefficients) {
    const LaneKernels kernels = counting_kernels();
    const std::vector<std::span<float>> runs(lines.begin(), lines.end());
    LaneScratch scratch;
    filter_side_by_side(runs, prepare_filter(coefficients), kernels, scratch);
    return 1000 * filtered_row_count / (2 * lines[0].size());
}

TEST(BlockPasses, ComputeLittleOfLinesThatFallSilentAndKeepThePlainBits) {
    for (const FilterCoefficients& filter : {LOW_PASS, ALTERNATING}) {
        const auto samples = lines_silent_between(3'000, 30'000, 30'000);
        auto lines = samples;
        EXPECT_LT(filter_side_by_side_and_count(lines, filter), 300U);
        expect_plain_bits(lines, samples, filter);
    }
}

TEST(BlockPasses, KeepThePlainBitsWhenASignalComesBack) {
    for (const FilterCoefficients& filter : {LOW_PASS, ALTERNATING}) {
        const auto samples = lines_silent_between(1'000, 25'000, 30'000);
        auto lines = samples;
        EXPECT_LT(filter_side_by_side_and_count(lines, filter), 400U);
        expect_plain_bits(lines, samples, filter);
    }
}

TEST(BlockPasses, KeepThePlainBitsOfLinesInSegments) {
    const auto samples = lines_silent_between(5'000, 80'000, 100'000);
    auto lines = samples;
    filter_side_by_side_and_count(lines, LOW_PASS);
    expect_plain_bits(lines, samples, LOW_PASS);
}

TEST(BlockPasses, KeepThePlainBitsOfSteadyAndUnequalLines) {
    std::vector<Line> samples(MAX_LANE_COUNT);
    for (std::size_t line = 0; line < samples.size(); ++line) {
        samples[line].assign(20'000 - 900 * line, static_cast<float>(line % 3));
    }
    auto lines = samples;
    EXPECT_LT(filter_side_by_side_and_count(lines, LOW_PASS), 1000U);
    expect_plain_bits(lines, samples, LOW_PASS);
}

TEST(BlockPasses, KeepThePlainBitsOfALongRunThatFallsSilent) {
    const auto samples = lines_silent_between(30'000, 150'000, 200'000);
    for (std::size_t line = 0; line < 3; ++line) {
        std::vector<Line> lines = {samples[line]};
        const LaneKernels kernels = counting_kernels();
        LaneScratch scratch;
        filter_long_run(lines[0], prepare_filter(LOW_PASS), kernels, scratch);
        expect_plain_bits(lines, {samples[line]}, LOW_PASS);
    }
}

} // namespace
} // namespace talvora::dsp
