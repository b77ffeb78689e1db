#include "dsp/long_run.h"
#include "tests/dsp/all_kernels.h"
#include "tests/dsp/random_filters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <stdexcept>
#include <vector>

namespace talvora::dsp {
namespace {

// scipy.signal.butter(2, ...) at edges from far to close to zero frequency: poles that
// are soon forgotten, late, and not within a warm-up.
const FilterCoefficients EDGE_50_PERCENT = {
    {0.2928932188134524, 0.5857864376269049, 0.2928932188134524},
    {1.0, -1.3007020142696517e-16, 0.17157287525380988}};
const FilterCoefficients EDGE_5_PERCENT = {
    {0.005542717210280681, 0.011085434420561363, 0.005542717210280681},
    {1.0, -1.7786317778245846, 0.8008026466657074}};
const FilterCoefficients EDGE_1_PERCENT = {
    {0.00024135904904194806, 0.0004827180980838961, 0.00024135904904194806},
    {1.0, -1.955578240315036, 0.9565436765112033}};

class LongRun : public ForAllKernels {
  protected:
    template <class Sample>
    void expect_plain_bits(std::vector<Sample> samples, const FilterCoefficients& coefficients,
                           std::optional<std::size_t> pad_count = std::nullopt) {
        const std::vector<Sample> expected =
            filter_plainly(samples, samples.size(), coefficients, pad_count);
        std::vector<Sample> apart(samples.size(), 77);
        const PreparedFilter filter = prepare_filter(coefficients, pad_count);
        const LaneKernels<Sample>& kernels = GetParam().of<Sample>();
        filter_long_run<Sample>({samples.data(), apart.data(), samples.size()}, filter, kernels,
                                scratch_);
        ASSERT_EQ(first_difference(apart, expected), expected.size())
            << "apart, " << coefficients.a.size() << " taps, " << samples.size() << " samples";
        filter_long_run(run_in_place(std::span(samples)), filter, kernels, scratch_);
        ASSERT_EQ(first_difference(samples, expected), expected.size())
            << coefficients.a.size() << " taps, " << samples.size() << " samples";
    }
    LaneScratch scratch_;
};

INSTANTIATE_TEST_SUITE_P(Kernels, LongRun, testing::ValuesIn(lane_kernels_to_test()), name_kernels);

TEST_P(LongRun, GivesThePlainBitsWhetherGuessesHoldOrNot) {
    RandomFilters random(6);
    for (const auto& filter : {EDGE_50_PERCENT, EDGE_5_PERCENT, EDGE_1_PERCENT}) {
        for (const std::size_t length : {1'020U, 1'100U, 30'000U, 65'537U, 200'001U}) {
            expect_plain_bits(random.samples(length), filter);
            expect_plain_bits(random.samples<double>(length), filter);
        }
    }
}

TEST_P(LongRun, GivesThePlainBitsForAnyFilterAndLength) {
    RandomFilters random(7);
    for (int trial = 0; trial < 300; ++trial) {
        const std::size_t tap_count = random.count(2, 17);
        const std::size_t length = random.count(3 * tap_count - 1, 12'000);
        const FilterCoefficients filter = random.filter(tap_count, random.one_in(3));
        expect_plain_bits(random.samples(length), filter);
        expect_plain_bits(random.samples<double>(length), filter);
    }
}

TEST_P(LongRun, GivesThePlainBitsForAnyPadding) {
    RandomFilters random(18);
    for (const std::size_t pad_count : {0U, 1U, 9U, 5'000U}) {
        for (const std::size_t length : {1U, 2U, 1'100U, 30'000U, 65'537U}) {
            expect_plain_bits(random.samples(pad_count + length), EDGE_50_PERCENT, pad_count);
            expect_plain_bits(random.samples<double>(pad_count + length), EDGE_50_PERCENT,
                              pad_count);
        }
    }
}

// Too short to be cut, and with padding that is made of most of the run.
TEST_P(LongRun, GivesThePlainBitsForEveryLengthFromTheShortestOn) {
    RandomFilters random(9);
    for (std::size_t tap_count = 2; tap_count <= 17; ++tap_count) {
        for (std::size_t length = 3 * tap_count - 1; length < 8 * tap_count; ++length) {
            expect_plain_bits(random.samples(length), random.filter(tap_count, false));
            expect_plain_bits(random.samples<double>(length), random.filter(tap_count, false));
        }
    }
}

template <class Sample>
void expect_left_as_it_is(const LaneKernels<Sample>& kernels, const PreparedFilter& filter,
                          std::size_t length, std::size_t place) {
    LaneScratch scratch;
    std::vector<Sample> samples(length, 1);
    samples[place] = std::numeric_limits<Sample>::quiet_NaN();
    const std::vector<Sample> before = samples;
    EXPECT_FALSE(
        filter_long_run(run_in_place(std::span(samples)), filter, kernels, scratch, Searched::No));
    ASSERT_EQ(first_difference(samples, before), length) << "missing: " << place;
}

// In the first part and a later one, in the last batch, and after the parts; in runs that are not
// cut, too; whether guesses hold or not.
TEST_P(LongRun, LeavesARunAsItIsWhenASampleTurnsOutToBeMissing) {
    for (const auto& filter : {EDGE_50_PERCENT, EDGE_1_PERCENT}) {
        for (const std::size_t length : {8U, 1'100U, 200'001U}) {
            for (const std::size_t place :
                 {std::size_t{0}, std::size_t{3}, length / 3, 7 * length / 8, length - 1}) {
                for (const auto pad_count :
                     {std::optional<std::size_t>(), std::optional<std::size_t>(0)}) {
                    const PreparedFilter prepared = prepare_filter(filter, pad_count);
                    expect_left_as_it_is(GetParam().of<float>(), prepared, length, place);
                    expect_left_as_it_is(GetParam().of<double>(), prepared, length, place);
                }
            }
        }
    }
}

TEST_P(LongRun, FiltersARunThatTurnsOutToBeValid) {
    RandomFilters random(10);
    for_samples_of_each_type([&]<class Sample>(Sample) {
        for (const std::size_t length : {8U, 1'100U, 200'001U}) {
            std::vector<Sample> samples(length);
            std::ranges::generate(samples,
                                  [&] { return static_cast<Sample>(random.number(-1, 1)); });
            const std::vector<Sample> expected = filter_plainly(samples, length, EDGE_5_PERCENT);
            EXPECT_TRUE(filter_long_run(run_in_place(std::span(samples)),
                                        prepare_filter(EDGE_5_PERCENT), GetParam().of<Sample>(),
                                        scratch_, Searched::No));
            EXPECT_EQ(first_difference(samples, expected), length);
        }
    });
}

// Every sample is passed twice at least, wherever guesses lead; no part has more samples than lie
// between two pauses, so that a pause comes at the latest after twice as many.
TEST_P(LongRun, PausesBetweenItsParts) {
    constexpr std::size_t LENGTH = 2'000'000;
    RandomFilters random(11);
    for (const auto& filter : {EDGE_50_PERCENT, EDGE_5_PERCENT, EDGE_1_PERCENT}) {
        std::size_t pause_count = 0;
        scratch_.pauses = Pauses([&] { ++pause_count; });
        std::vector<float> samples = random.samples(LENGTH);
        filter_long_run(run_in_place(std::span(samples)), prepare_filter(filter),
                        GetParam().of<float>(), scratch_);
        EXPECT_GE(pause_count, LENGTH / Pauses::SAMPLES_APART);
    }
}

// Before the backward pass nothing is written.
TEST_P(LongRun, EndsWithWhatAPauseThrows) {
    RandomFilters random(13);
    std::vector<float> before(2'000'000);
    std::ranges::generate(before, [&] { return static_cast<float>(random.number(-1, 1)); });
    for (const auto& filter : {EDGE_50_PERCENT, EDGE_5_PERCENT, EDGE_1_PERCENT}) {
        std::size_t pause_count = 0;
        const auto filter_until = [&](std::vector<float>& samples, std::size_t last_pause) {
            LaneScratch scratch;
            pause_count = 0;
            scratch.pauses = Pauses([&] {
                if (++pause_count == last_pause) {
                    throw std::out_of_range("a pause");
                }
            });
            filter_long_run(run_in_place(std::span(samples)), prepare_filter(filter),
                            GetParam().of<float>(), scratch);
        };
        std::vector<float> samples = before;
        filter_until(samples, 0);
        const std::size_t last = pause_count;
        for (const std::size_t pause : {std::size_t{1}, std::size_t{2}, last}) {
            samples = before;
            EXPECT_THROW(filter_until(samples, pause), std::out_of_range);
            EXPECT_EQ(pause_count, pause);
            EXPECT_EQ(samples == before, pause < last);
        }
    }
}

bool fills_lanes_with(std::size_t length, const FilterCoefficients& filter, std::size_t lanes) {
    return fills_lanes(length, prepare_filter(filter), lanes);
}

// Warm-ups are 118 and 841 samples.
TEST(FillsLanes, HoldsWhereWarmUpsTakeLittleOfTheParts) {
    EXPECT_FALSE(fills_lanes_with(16'383, EDGE_50_PERCENT, 16));
    EXPECT_TRUE(fills_lanes_with(16'384, EDGE_50_PERCENT, 16));
    EXPECT_FALSE(fills_lanes_with(50'000, EDGE_5_PERCENT, 16));
    EXPECT_TRUE(fills_lanes_with(60'000, EDGE_5_PERCENT, 16));
    EXPECT_TRUE(fills_lanes_with(50'000, EDGE_5_PERCENT, 8));
}

TEST(FillsLanes, HoldsForNoFilterOfOneTap) {
    EXPECT_FALSE(fills_lanes_with(100'000, {{0.5}, {1.0}}, 4));
}

// One pole at 0.5 or at 0.9, and others at zero.
TEST(FillsLanes, HoldsForFiltersThatForgetSoon) {
    EXPECT_FALSE(fills_lanes_with(1'000'000, EDGE_1_PERCENT, 4));
    EXPECT_TRUE(fills_lanes_with(100'000, {{1.0, 0.0, 0.0}, {1.0, -0.9, 0.0}}, 16));
    EXPECT_FALSE(fills_lanes_with(100'000, {{1.0, 0.0, 0.0, 0.0}, {1.0, -0.9, 0.0, 0.0}}, 16));
    EXPECT_TRUE(fills_lanes_with(100'000, {{1.0, 0.0, 0.0, 0.0}, {1.0, -0.5, 0.0, 0.0}}, 16));
}

} // namespace
} // namespace talvora::dsp
