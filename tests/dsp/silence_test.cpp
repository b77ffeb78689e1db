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
const FilterCoefficients SLOW_LOW_PASS = {
    {0.020083365564211232, 0.040166731128422464, 0.020083365564211232},
    {1.0, -1.5610180758007182, 0.6413515380575631}};
const FilterCoefficients ALTERNATING = {{0.1, 0.1}, {1.0, 0.7}};

template <class Sample>
using Lines = std::vector<std::vector<Sample>>;

std::size_t filtered_row_count;
std::size_t filtering_count;

// The kernels of every processor.
template <class Sample>
const LaneKernels<Sample>& baseline_kernels() {
    return lane_kernels<Sample>(FilterPath::Baseline);
}

template <class Sample>
void count_and_filter_forward(const LaneFilter& filter, const Sample* const* lines,
                              std::size_t row_count, double* rows,
                              const Upcoming<Sample>* upcoming) {
    filtered_row_count += row_count;
    ++filtering_count;
    baseline_kernels<Sample>().filter_forward(filter, lines, row_count, rows, upcoming);
}

template <class Sample>
void count_and_filter_backward(const LaneFilter& filter, const double* rows, std::size_t row_count,
                               Sample* const* lines, const Upcoming<Sample>* upcoming) {
    filtered_row_count += row_count;
    ++filtering_count;
    baseline_kernels<Sample>().filter_backward(filter, rows, row_count, lines, upcoming);
}

// The same, counting.
template <class Sample>
LaneKernels<Sample> counting_kernels() {
    LaneKernels<Sample> kernels = baseline_kernels<Sample>();
    kernels.filter_forward = count_and_filter_forward<Sample>;
    kernels.filter_backward = count_and_filter_backward<Sample>;
    filtered_row_count = 0;
    filtering_count = 0;
    return kernels;
}

constexpr std::size_t FEW_LANES = 4; // fewer than any kernels have

template <class Sample>
void fill_with_noise(std::vector<Sample>& line, RandomFilters& random) {
    std::ranges::generate(line, [&] { return static_cast<Sample>(random.number(-1.0, 1.0)); });
}

template <class Sample>
Lines<Sample> lines_silent_between(std::size_t first, std::size_t last, std::size_t length) {
    RandomFilters random(8);
    Lines<Sample> lines;
    for (std::size_t line = 0; line < FEW_LANES; ++line) {
        lines.emplace_back(length);
        fill_with_noise(lines.back(), random);
        std::fill(lines.back().begin() + static_cast<std::ptrdiff_t>(first),
                  lines.back().begin() + static_cast<std::ptrdiff_t>(last), Sample());
    }
    return lines;
}

template <class Sample>
void expect_plain_bits(const Lines<Sample>& lines, const Lines<Sample>& samples,
                       const FilterCoefficients& coefficients) {
    for (std::size_t line = 0; line < lines.size(); ++line) {
        const std::vector<Sample> expected =
            filter_plainly(samples[line], samples[line].size(), coefficients);
        ASSERT_EQ(first_difference(lines[line], expected), expected.size()) << "line " << line;
    }
}

template <class Sample>
std::size_t filter_side_by_side_and_count(Lines<Sample>& lines,
                                          const FilterCoefficients& coefficients) {
    const LaneKernels<Sample> kernels = counting_kernels<Sample>();
    const std::vector<Run<Sample>> runs = runs_in_place(lines);
    LaneScratch scratch;
    run_group<Sample>(runs, {}, prepare_filter(coefficients), kernels, scratch);
    return filtered_row_count;
}

// How many of a thousand rows are computed of those of lines that are never silent.
template <class Sample>
std::size_t filter_side_by_side_and_compare(Lines<Sample>& lines,
                                            const FilterCoefficients& coefficients) {
    Lines<Sample> noise = lines_silent_between<Sample>(0, 0, lines[0].size());
    const std::size_t most = filter_side_by_side_and_count(noise, coefficients);
    return 1000 * filter_side_by_side_and_count(lines, coefficients) / most;
}

template <class Sample>
class Silence : public testing::Test {};

using SampleTypes = testing::Types<float, double>;
TYPED_TEST_SUITE(Silence, SampleTypes);

TYPED_TEST(Silence, ComputesLittleOfLinesThatFallSilentAndKeepsThePlainBits) {
    for (const FilterCoefficients& filter : {SLOW_LOW_PASS, ALTERNATING}) {
        const auto samples = lines_silent_between<TypeParam>(3'000, 30'000, 30'000);
        auto lines = samples;
        EXPECT_LT(filter_side_by_side_and_compare(lines, filter), 300U);
        expect_plain_bits(lines, samples, filter);
    }
}

TYPED_TEST(Silence, KeepsThePlainBitsWhenASignalComesBack) {
    for (const FilterCoefficients& filter : {SLOW_LOW_PASS, ALTERNATING}) {
        const auto samples = lines_silent_between<TypeParam>(1'000, 25'000, 30'000);
        auto lines = samples;
        EXPECT_LT(filter_side_by_side_and_compare(lines, filter), 400U);
        expect_plain_bits(lines, samples, filter);
    }
}

TYPED_TEST(Silence, KeepsThePlainBitsOfLinesInSegments) {
    const auto samples = lines_silent_between<TypeParam>(5'000, 80'000, 100'000);
    auto lines = samples;
    filter_side_by_side_and_count(lines, SLOW_LOW_PASS);
    expect_plain_bits(lines, samples, SLOW_LOW_PASS);
}

TYPED_TEST(Silence, KeepsThePlainBitsOfSteadyAndUnequalLines) {
    Lines<TypeParam> samples(FEW_LANES);
    for (std::size_t line = 0; line < samples.size(); ++line) {
        samples[line].assign(20'000 - 900 * line, static_cast<TypeParam>(line % 3));
    }
    auto lines = samples;
    EXPECT_LT(filter_side_by_side_and_compare(lines, SLOW_LOW_PASS), 1000U);
    expect_plain_bits(lines, samples, SLOW_LOW_PASS);
}

// A constant, of which a filter without a direct way makes zeros as well, and zeros of either sign.
TYPED_TEST(Silence, KeepsThePlainBitsOfLanesThatRestByThemselves) {
    auto samples = lines_silent_between<TypeParam>(2'000, 20'000, 30'000);
    RandomFilters random(14);
    fill_with_noise(samples[0], random);
    std::fill(samples[1].begin() + 2'000, samples[1].begin() + 20'000, TypeParam(-0.0));
    std::fill(samples[2].begin() + 5'000, samples[2].end(), TypeParam(0.3));
    const FilterCoefficients high_pass = {{0.25, -0.5, 0.25}, {1.0, 0.5, 0.25}};
    for (const FilterCoefficients& filter : {SLOW_LOW_PASS, ALTERNATING, high_pass}) {
        auto lines = samples;
        filter_side_by_side_and_count(lines, filter);
        expect_plain_bits(lines, samples, filter);
    }
}

// What the first pass leaves behind a signal is too small for the state of the second.
TYPED_TEST(Silence, KeepsThePlainBitsWhereTheStateIsZeroAndTheInputAlmost) {
    const FilterCoefficients high_pass = {{0.05, -0.05}, {1.0, 0.9}};
    auto samples = lines_silent_between<TypeParam>(3'000, 30'000, 30'000);
    RandomFilters random(15);
    fill_with_noise(samples[3], random);
    auto lines = samples;
    filter_side_by_side_and_count(lines, high_pass);
    expect_plain_bits(lines, samples, high_pass);
}

// Shorter stretches are looked at where a state has faded to almost nothing; exact zeros and
// constants take no longer than a signal.
TYPED_TEST(Silence, SlowsNoLinesBesideOthersThatNeverHadASignal) {
    auto samples = lines_silent_between<TypeParam>(0, 0, 20'000);
    auto lines = samples;
    filter_side_by_side_and_count(lines, SLOW_LOW_PASS);
    const std::size_t expected = filtering_count;
    std::ranges::fill(samples[1], TypeParam());
    std::ranges::fill(samples[2], TypeParam(0.3));
    lines = samples;
    filter_side_by_side_and_count(lines, SLOW_LOW_PASS);
    EXPECT_EQ(filtering_count, expected);
    expect_plain_bits(lines, samples, SLOW_LOW_PASS);
}

TYPED_TEST(Silence, KeepsThePlainBitsOfALongRunThatFallsSilent) {
    const auto samples = lines_silent_between<TypeParam>(30'000, 150'000, 200'000);
    for (std::size_t line = 0; line < 3; ++line) {
        Lines<TypeParam> lines = {samples[line]};
        const LaneKernels<TypeParam> kernels = counting_kernels<TypeParam>();
        LaneScratch scratch;
        filter_long_run(runs_in_place(lines)[0], prepare_filter(SLOW_LOW_PASS), kernels, scratch);
        expect_plain_bits<TypeParam>(lines, {samples[line]}, SLOW_LOW_PASS);
    }
}

} // namespace
} // namespace talvora::dsp
