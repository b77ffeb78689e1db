#include "dsp/filter_set.h"
#include "tests/dsp/random_filters.h"
#include "tests/support/special_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace talvora::dsp {
namespace {

using testing::Each;
using testing::ElementsAre;

constexpr std::uint32_t MISSING = 0xFFC00000U;

using Line = std::vector<float>;
using DoubleLine = std::vector<double>;

// The mean of neighbours, two taps: runs of five samples and more are filtered, to
// [1 2 1] / 4 inside and to themselves at their ends.
const FilterCoefficients MEAN_OF_TWO = {{0.5, 0.5}, {1.0}};
// Three taps, unit gain: runs of eight samples and more.
const FilterCoefficients LOW_OF_ORDER_TWO = {{0.1875, 0.375, 0.1875}, {1.0, -0.5, 0.25}};

std::vector<std::uint32_t> bits(const Line& line) {
    std::vector<std::uint32_t> words;
    for (const float sample : line) {
        words.push_back(std::bit_cast<std::uint32_t>(sample));
    }
    return words;
}

void append(Line& line, std::size_t count, float value) {
    line.insert(line.end(), count, value);
}

class FilterSetInPlace : public testing::TestWithParam<FilterPath> {
  protected:
    void SetUp() override {
        if (!can_take(GetParam())) {
            GTEST_SKIP() << "this processor cannot take the path";
        }
    }
    // Floats, and the same numbers as doubles, which come to the same when they are rounded.
    void filter(Line& samples, std::uint64_t line_length, const FilterCoefficients& coefficients,
                std::optional<std::size_t> pad_count = std::nullopt,
                Missing missing = Missing::Omit) {
        DoubleLine doubles(samples.begin(), samples.end());
        SetFilter<float>(GetParam(), missing)
            .filter_in_place(samples, line_length, coefficients, pad_count);
        SetFilter<double>(GetParam(), missing)
            .filter_in_place(doubles, line_length, coefficients, pad_count);
        EXPECT_EQ(bits(Line(doubles.begin(), doubles.end())), bits(samples));
    }
};

std::string name_of(const testing::TestParamInfo<FilterPath>& path) {
    const auto named = std::ranges::find(lane_paths(), path.param, &LanePath::path);
    return named != lane_paths().end() ? named->name : "Plain";
}

std::vector<FilterPath> all_paths() {
    std::vector<FilterPath> paths = {FilterPath::Plain};
    std::ranges::transform(lane_paths(), std::back_inserter(paths), &LanePath::path);
    return paths;
}

INSTANTIATE_TEST_SUITE_P(Paths, FilterSetInPlace, testing::ValuesIn(all_paths()), name_of);

TEST_P(FilterSetInPlace, FiltersEveryLineByItself) {
    Line samples = {0, 4, 0, 8, 4, 8, 8, 8, 8, 0};
    filter(samples, 5, MEAN_OF_TWO);
    EXPECT_THAT(samples, ElementsAre(0, 2, 3, 5, 4, 8, 8, 8, 6, 0));
}

TEST_P(FilterSetInPlace, FiltersAWholeValidLineWithoutMakingAnyMissing) {
    Line samples(100, 2.5F);
    filter(samples, 100, LOW_OF_ORDER_TWO);
    EXPECT_THAT(samples, Each(testing::FloatEq(2.5F)));
}

TEST_P(FilterSetInPlace, FiltersARunOfExactlyTheMinimumAndLeavesOneShorter) {
    Line samples = {0, 4, 0, 8, 4};
    filter(samples, 5, MEAN_OF_TWO);
    EXPECT_THAT(samples, ElementsAre(0, 2, 3, 5, 4));
    Line shorter = {0, 4, 0, 8};
    filter(shorter, 4, MEAN_OF_TWO);
    EXPECT_THAT(shorter, ElementsAre(0, 4, 0, 8));
}

// Each pass starts in the steady state for its first sample: 0 2 2 4 6, and from there back.
TEST_P(FilterSetInPlace, TurnsAtTheEndsWithoutPadding) {
    Line samples = {0, 4, 0, 8, 4, 7, 7, 7, 7, 7};
    filter(samples, 5, MEAN_OF_TWO, 0);
    EXPECT_THAT(samples, ElementsAre(1, 2, 3, 5, 6, 7, 7, 7, 7, 7));
    Line single = {3, NaN, -5};
    filter(single, 3, MEAN_OF_TWO, 0);
    EXPECT_THAT(std::vector(single.begin(), single.begin() + 1), ElementsAre(3));
    EXPECT_THAT(std::vector(single.begin() + 2, single.end()), ElementsAre(-5));
}

TEST_P(FilterSetInPlace, FiltersRunsThatAreLongerThanTheChosenPadding) {
    Line samples = {0, 4, 0, 8, 4};
    filter(samples, 5, MEAN_OF_TWO, 4);
    EXPECT_THAT(samples, ElementsAre(0, 2, 3, 5, 4));
    Line shorter = {0, 4, 0, 8};
    filter(shorter, 4, MEAN_OF_TWO, 4);
    EXPECT_THAT(shorter, ElementsAre(0, 4, 0, 8));
    filter(shorter, 4, MEAN_OF_TWO, std::numeric_limits<std::size_t>::max());
    EXPECT_THAT(shorter, ElementsAre(0, 4, 0, 8));
}

TEST_P(FilterSetInPlace, MarksWhatLiesOutsideTheFilteredRuns) {
    Line line = {NaN, 1, 2, 3, 4, 5, NaN};
    append(line, 100, 1.0F);
    line.push_back(NaN);
    filter(line, line.size(), LOW_OF_ORDER_TWO);
    const auto words = bits(line);
    EXPECT_THAT(std::vector(words.begin(), words.begin() + 7), Each(MISSING));
    EXPECT_THAT(std::vector(line.begin() + 7, line.end() - 1), Each(testing::FloatEq(1.0F)));
    EXPECT_EQ(words.back(), MISSING);
}

TEST_P(FilterSetInPlace, KeepsRawSamplesBetweenFilteredRuns) {
    Line line = {0, 4, 0, 8, 4, NaN, 7, 9, NaN, 8, 8, 8, 8, 0, NaN, 3};
    const std::uint32_t gap_bits = bits(line)[5];
    filter(line, line.size(), MEAN_OF_TWO);
    EXPECT_THAT(std::vector(line.begin(), line.begin() + 5), ElementsAre(0, 2, 3, 5, 4));
    EXPECT_EQ(bits(line)[5], gap_bits);
    EXPECT_THAT(std::vector(line.begin() + 6, line.begin() + 8), ElementsAre(7, 9));
    EXPECT_EQ(bits(line)[8], gap_bits);
    EXPECT_THAT(std::vector(line.begin() + 9, line.begin() + 14), ElementsAre(8, 8, 8, 6, 0));
    EXPECT_EQ(bits(line)[14], MISSING);
    EXPECT_EQ(bits(line)[15], MISSING);
}

TEST_P(FilterSetInPlace, LeavesALineWithoutALongEnoughRun) {
    Line line = {NaN, 1, 2, NaN, 3, 4, 5, 6, NaN, NaN};
    const auto before = bits(line);
    filter(line, line.size(), MEAN_OF_TWO);
    EXPECT_EQ(bits(line), before);
    Line missing(20, NaN);
    const auto missing_before = bits(missing);
    filter(missing, 20, MEAN_OF_TWO);
    EXPECT_EQ(bits(missing), missing_before);
}

TEST_P(FilterSetInPlace, LeavesEverythingWithoutAFilter) {
    Line line = {NaN, 1, INF, NaN};
    const auto before = bits(line);
    filter(line, 4, {});
    filter(line, 0, MEAN_OF_TWO);
    EXPECT_EQ(bits(line), before);
}

TEST_P(FilterSetInPlace, IsAPureGainWithOneTap) {
    Line line = {1, NaN, 1, -2, 3, NaN};
    filter(line, 6, {{2}, {1}});
    EXPECT_THAT(std::vector(line.begin() + 2, line.begin() + 5), ElementsAre(4, -8, 12));
    EXPECT_EQ(bits(line)[0], MISSING); // one sample is shorter than the minimum of two
    Line unit = {1, 2, 3};
    filter(unit, 3, {{1}, {1}});
    EXPECT_THAT(unit, ElementsAre(1, 2, 3));
}

TEST_P(FilterSetInPlace, SpreadsAnInfinityThroughItsRunAlone) {
    Line line(12, 1.0F);
    line[4] = INF;
    line.push_back(NaN);
    append(line, 12, 1.0F);
    filter(line, line.size(), LOW_OF_ORDER_TWO);
    EXPECT_THAT(bits(std::vector(line.begin(), line.begin() + 12)), Each(MISSING));
    EXPECT_THAT(std::vector(line.begin() + 13, line.end()), Each(testing::FloatEq(1.0F)));
}

TEST_P(FilterSetInPlace, MarksMissingDoublesWithTheirOwnBits) {
    DoubleLine line = {std::numeric_limits<double>::quiet_NaN(), 1, 2, 3, 4, 5, 6, 7, 8};
    DoubleLine infinite(12, std::numeric_limits<double>::infinity());
    SetFilter<double>(GetParam()).filter_in_place(line, 9, LOW_OF_ORDER_TWO);
    SetFilter<double>(GetParam()).filter_in_place(infinite, 12, LOW_OF_ORDER_TWO);
    for (const double sample : {line.front(), infinite.front(), infinite.back()}) {
        EXPECT_EQ(std::bit_cast<std::uint64_t>(sample), 0xFFF8000000000000U);
    }
    EXPECT_THAT(DoubleLine(line.begin() + 1, line.end()), Each(testing::Not(testing::IsNan())));
}

TEST_P(FilterSetInPlace, PropagatesAMissingSampleThroughItsWholeLine) {
    Line samples(30, 1.0F);
    samples[13] = NaN;
    filter(samples, 10, LOW_OF_ORDER_TWO, std::nullopt, Missing::Propagate);
    EXPECT_THAT(Line(samples.begin(), samples.begin() + 10), Each(testing::FloatEq(1.0F)));
    EXPECT_THAT(bits(Line(samples.begin() + 10, samples.begin() + 20)), Each(MISSING));
    EXPECT_THAT(Line(samples.begin() + 20, samples.end()), Each(testing::FloatEq(1.0F)));
}

// [1 2 1] / 4 reaches one sample to either side.
TEST_P(FilterSetInPlace, PropagatesNoFurtherThanAFilterWithoutFeedbackReaches) {
    for (const FilterCoefficients& mean :
         {MEAN_OF_TWO, FilterCoefficients{{0.5, 0.5}, {1.0, 0.0}}}) {
        Line line = {0, 4, 0, 8, NaN, 8, 8, 8, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1};
        filter(line, 9, mean, std::nullopt, Missing::Propagate);
        EXPECT_THAT(Line(line.begin(), line.begin() + 3), ElementsAre(0, 2, 3));
        EXPECT_THAT(bits(Line(line.begin() + 3, line.begin() + 6)), Each(MISSING));
        EXPECT_THAT(Line(line.begin() + 6, line.end()),
                    ElementsAre(8, 6, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1));
        Line infinite = {0, 4, 0, 8, INF, 8, 8, 8, 0};
        filter(infinite, 9, mean, std::nullopt, Missing::Propagate);
        EXPECT_THAT(infinite, ElementsAre(0, 2, 3, INF, INF, INF, 8, 6, 0));
    }
    Line gained = {1, NaN, 3};
    filter(gained, 3, {{2}, {1}}, std::nullopt, Missing::Propagate);
    EXPECT_EQ(gained[0], 4);
    EXPECT_EQ(bits(gained)[1], MISSING);
    EXPECT_EQ(gained[2], 12);
}

TEST_P(FilterSetInPlace, LeavesLinesThatAreTooShortWhateverBecomesOfMissingSamples) {
    Line samples = {1, NaN, 3, 4};
    const auto before = bits(samples);
    filter(samples, 4, MEAN_OF_TWO, std::nullopt, Missing::Propagate);
    EXPECT_EQ(bits(samples), before);
}

TEST_P(FilterSetInPlace, MakesARunMissingWithAMissingCoefficient) {
    Line line(20, 1.0F);
    filter(line, 20, {{1.0, 0.0}, {1.0, std::numeric_limits<double>::quiet_NaN()}});
    EXPECT_THAT(line, Each(testing::IsNan()));
}

TEST_P(FilterSetInPlace, HasNoUseForAMissingLeadingCoefficientOfTwoTaps) {
    // It is taken as 1 by the recurrence, and the state of two taps is found without it.
    Line samples = {0, 4, 0, 8, 4};
    filter(samples, 5, {{0.5, 0.5}, {static_cast<double>(NaN)}});
    EXPECT_THAT(samples, ElementsAre(0, 2, 3, 5, 4));
}

TEST_P(FilterSetInPlace, TakesEachSetsOwnFilter) {
    SetFilter<float> set_filter(GetParam());
    Line first = {0, 4, 0, 8, 4};
    Line second = first;
    set_filter.filter_in_place(first, 5, MEAN_OF_TWO);
    set_filter.filter_in_place(second, 5, {{2.0}, {1.0}});
    EXPECT_THAT(first, ElementsAre(0, 2, 3, 5, 4));
    EXPECT_THAT(second, ElementsAre(0, 16, 0, 32, 16));
}

TEST_P(FilterSetInPlace, MakesInfinitiesOfWhatNoFloatHolds) {
    Line line(10, 3e38F);
    filter(line, 10, {{4.0, 0.0}, {1.0, 0.0}});
    EXPECT_THAT(line, Each(INF));
}

TEST_P(FilterSetInPlace, LeavesAPartOfALineAlone) {
    Line samples = {0, 4, 0, 8, 4, 1, 2, 3};
    filter(samples, 5, MEAN_OF_TWO);
    EXPECT_THAT(samples, ElementsAre(0, 2, 3, 5, 4, 1, 2, 3));
}

template <class Sample>
void expect_plain_bits_for_any_lines_and_gaps(FilterPath path, Missing missing) {
    RandomFilters random(5);
    SetFilter<Sample> set_filter(path, missing);
    SetFilter<Sample> plain(FilterPath::Plain, missing);
    for (int trial = 0; trial < 300; ++trial) {
        const std::size_t tap_count = random.count(1, 17);
        FilterCoefficients coefficients = random.filter(tap_count, random.one_in(4));
        if (random.one_in(8)) {
            coefficients.a = {1.0};
        }
        const std::optional<std::size_t> pad_count = random.pad_count();
        const std::size_t line_length = random.count(1, 500);
        auto samples = random.samples<Sample>(line_length * random.count(1, 40));
        random.make_gaps(samples);
        std::vector<Sample> expected = samples;
        plain.filter_in_place(expected, line_length, coefficients, pad_count);
        set_filter.filter_in_place(samples, line_length, coefficients, pad_count);
        ASSERT_EQ(first_difference(samples, expected), expected.size())
            << tap_count << " taps, lines of " << line_length << ", trial " << trial;
    }
}

TEST_P(FilterSetInPlace, GivesThePlainBitsForAnyLinesAndGaps) {
    for (const Missing missing : {Missing::Omit, Missing::Propagate}) {
        expect_plain_bits_for_any_lines_and_gaps<float>(GetParam(), missing);
        expect_plain_bits_for_any_lines_and_gaps<double>(GetParam(), missing);
    }
}

// Run by run, as the definition has it.
DoubleLine filter_by_definition(DoubleLine line, const PreparedFilter& filter) {
    std::vector<std::pair<std::ptrdiff_t, std::ptrdiff_t>> runs;
    for (std::ptrdiff_t begin = 0, end = 0; begin < std::ssize(line); begin = end + 1) {
        const auto next = std::find_if(line.begin() + begin, line.end(),
                                       [](double sample) { return std::isnan(sample); });
        end = next - line.begin();
        if (end - begin >= static_cast<std::ptrdiff_t>(filter.padding.least_length)) {
            runs.emplace_back(begin, end);
        }
    }
    for (const auto& [begin, end] : runs) {
        const DoubleLine y =
            zero_phase_filter(DoubleLine(line.begin() + begin, line.begin() + end), filter);
        std::ranges::copy(y, line.begin() + begin);
    }
    if (!runs.empty()) {
        constexpr double MISSING_DOUBLE = std::bit_cast<double>(0xFFF8000000000000U);
        std::fill(line.begin(), line.begin() + runs.front().first, MISSING_DOUBLE);
        std::fill(line.begin() + runs.back().second, line.end(), MISSING_DOUBLE);
    }
    return line;
}

TEST_P(FilterSetInPlace, GivesDoublesTheBitsOfTheDefinition) {
    RandomFilters random(19);
    SetFilter<double> set_filter(GetParam());
    for (int trial = 0; trial < 300; ++trial) {
        const FilterCoefficients coefficients = random.filter(random.count(1, 12), false);
        const std::optional<std::size_t> pad_count = random.pad_count();
        const std::size_t line_length = random.count(1, 400);
        DoubleLine samples;
        DoubleLine expected;
        for (std::size_t line_count = random.count(1, 20); line_count > 0; --line_count) {
            DoubleLine line = random.samples<double>(line_length);
            if (random.one_in(3)) {
                random.make_gaps(line);
            }
            samples.insert(samples.end(), line.begin(), line.end());
            line = filter_by_definition(line, prepare_filter(coefficients, pad_count));
            expected.insert(expected.end(), line.begin(), line.end());
        }
        set_filter.filter_in_place(samples, line_length, coefficients, pad_count);
        ASSERT_EQ(first_difference(samples, expected), expected.size())
            << coefficients.b.size() << " taps, lines of " << line_length;
    }
}

// Whole lines are tried without a search, and searched after all when a sample is missing.
TEST_P(FilterSetInPlace, GivesThePlainBitsWhereLinesWithGapsComeAmongWholeOnes) {
    RandomFilters random(11);
    SetFilter<float> set_filter(GetParam());
    for (int trial = 0; trial < 100; ++trial) {
        const std::size_t line_length = random.count(8, 200);
        const std::size_t line_count = random.count(1, 70);
        Line samples = random.samples(line_length * line_count);
        for (std::size_t gap = random.count(0, 3); gap > 0; --gap) {
            samples[random.count(0, samples.size() - 1)] = random.one_in(5) ? INF : NaN;
        }
        const Line expected = filter_plainly(samples, line_length, LOW_OF_ORDER_TWO);
        set_filter.filter_in_place(samples, line_length, LOW_OF_ORDER_TWO);
        ASSERT_EQ(first_difference(samples, expected), expected.size())
            << line_count << " lines of " << line_length;
    }
}

// Sets of one line and of many, of any lengths and designs, whole and with gaps.
template <class Sample>
void expect_plain_bits_for_sets_filtered_together(FilterPath path) {
    RandomFilters random(12);
    SetFilter<Sample> set_filter(path);
    for (int trial = 0; trial < 40; ++trial) {
        const FilterCoefficients designs[] = {LOW_OF_ORDER_TWO,
                                              random.filter(random.count(1, 10), false)};
        std::vector<std::vector<Sample>> sets(random.count(1, 50));
        std::vector<std::vector<Sample>> expected;
        for (std::vector<Sample>& set : sets) {
            const std::size_t line_length = random.count(1, 400);
            const FilterCoefficients& design = designs[random.one_in(8) ? 1 : 0];
            const auto pad_count = random.one_in(8) ? std::optional<std::size_t>(5) : std::nullopt;
            set = random.samples<Sample>(line_length * random.count(1, 3));
            if (random.one_in(5)) {
                random.make_gaps(set);
            }
            expected.push_back(filter_plainly(set, line_length, design, pad_count));
            set_filter.add(set, line_length, design, pad_count);
        }
        set_filter.finish();
        for (std::size_t set = 0; set < sets.size(); ++set) {
            ASSERT_EQ(first_difference(sets[set], expected[set]), expected[set].size())
                << "set " << set << " of " << sets.size() << ", trial " << trial;
        }
    }
}

TEST_P(FilterSetInPlace, GivesThePlainBitsForSetsThatAreFilteredTogether) {
    expect_plain_bits_for_sets_filtered_together<float>(GetParam());
    expect_plain_bits_for_sets_filtered_together<double>(GetParam());
}

class FilterSetApart : public FilterSetInPlace {};

INSTANTIATE_TEST_SUITE_P(Paths, FilterSetApart, testing::ValuesIn(all_paths()), name_of);

constexpr float UNTOUCHED = -77.0F;

// What becomes of a line of `from`, which stays as it is.
Line filtered_apart(FilterPath path, const Line& from, std::uint64_t line_length,
                    Missing missing = Missing::Omit) {
    const auto before = bits(from);
    Line to(from.size(), UNTOUCHED);
    SetFilter<float> set_filter(path, missing);
    set_filter.add(from, to, line_length, MEAN_OF_TWO);
    set_filter.finish();
    EXPECT_EQ(bits(from), before);
    return to;
}

TEST_P(FilterSetApart, LeavesTheSamplesThatItReads) {
    EXPECT_THAT(filtered_apart(GetParam(), {0, 4, 0, 8, 4, 8, 8, 8, 8, 0}, 5),
                ElementsAre(0, 2, 3, 5, 4, 8, 8, 8, 6, 0));
}

TEST_P(FilterSetApart, CopiesWhatLiesBetweenRunsAndMarksWhatLiesOutside) {
    const float payload = std::bit_cast<float>(0x7FC01234U);
    const Line line = {7, NaN, 0, 4, 0, 8, 4, payload, 7, 9, payload, 8, 8, 8, 8, 0, NaN, 3};
    const Line to = filtered_apart(GetParam(), line, line.size());
    EXPECT_THAT(bits(Line(to.begin(), to.begin() + 2)), Each(MISSING));
    EXPECT_THAT(Line(to.begin() + 2, to.begin() + 7), ElementsAre(0, 2, 3, 5, 4));
    EXPECT_EQ(bits(to)[7], 0x7FC01234U);
    EXPECT_THAT(Line(to.begin() + 8, to.begin() + 10), ElementsAre(7, 9));
    EXPECT_EQ(bits(to)[10], 0x7FC01234U);
    EXPECT_THAT(Line(to.begin() + 11, to.begin() + 16), ElementsAre(8, 8, 8, 6, 0));
    EXPECT_THAT(bits(Line(to.begin() + 16, to.end())), Each(MISSING));
}

TEST_P(FilterSetApart, CopiesWhatStays) {
    const Line without_long_run = {NaN, 1, 2, NaN, 3, 4, 5, 6, NaN, NaN};
    EXPECT_EQ(bits(filtered_apart(GetParam(), without_long_run, 10)), bits(without_long_run));
    const Line too_short = {1, NaN, 3, 4};
    EXPECT_EQ(bits(filtered_apart(GetParam(), too_short, 4)), bits(too_short));
    EXPECT_EQ(bits(filtered_apart(GetParam(), too_short, 4, Missing::Propagate)), bits(too_short));
    EXPECT_THAT(filtered_apart(GetParam(), {0, 4, 0, 8, 4, 1, 2, 3}, 5),
                ElementsAre(0, 2, 3, 5, 4, 1, 2, 3));
}

TEST_P(FilterSetApart, CountsTheSamplesOfShortRuns) {
    const Line line = {
        7, 7, NaN, 0, 4, 0, 8,   4, NaN, 7, NaN, 8,   8, 8,   8, 0, NaN, 3,  // 3 erased, 1 left
        1, 1, NaN, 1, 1, 1, NaN, 1, 1,   1, 1,   NaN, 1, NaN, 1, 1, 1,   1}; // 14 left
    const Line whole(18, 1.0F);
    for (const Missing missing : {Missing::Omit, Missing::Propagate}) {
        ShortRuns found;
        SetFilter<float> filter(GetParam(), missing, {}, &found);
        Line apart(line.size());
        Line in_place = line;
        Line in_place_whole = whole;
        filter.add(line, apart, 18, MEAN_OF_TWO);
        filter.add(in_place, 18, MEAN_OF_TWO);
        filter.add(in_place_whole, 18, MEAN_OF_TWO);
        filter.finish();
        EXPECT_EQ(found.left_samples, missing == Missing::Omit ? 2U * 15 : 0U);
        EXPECT_EQ(found.erased_samples, missing == Missing::Omit ? 2U * 3 : 0U);
    }
}

TEST_P(FilterSetApart, CountsNothingOfLinesThatAreTooShort) {
    ShortRuns found;
    SetFilter<float> filter(GetParam(), Missing::Omit, {}, &found);
    Line line = {1, NaN, 3, 4};
    filter.filter_in_place(line, 4, MEAN_OF_TWO);
    EXPECT_EQ(found.left_samples + found.erased_samples, 0U);
}

TEST_P(FilterSetApart, PropagatesAMissingSample) {
    const Line line = {0, 4, 0, 8, NaN, 8, 8, 8, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    const Line to = filtered_apart(GetParam(), line, 9, Missing::Propagate);
    EXPECT_THAT(Line(to.begin(), to.begin() + 3), ElementsAre(0, 2, 3));
    EXPECT_THAT(bits(Line(to.begin() + 3, to.begin() + 6)), Each(MISSING));
    EXPECT_THAT(Line(to.begin() + 6, to.end()), ElementsAre(8, 6, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1));
}

// To the last bit, also of what is missing.
template <class Sample>
void expect_bits_of_in_place(SetFilter<Sample>& set_filter, const std::vector<Sample>& from,
                             std::uint64_t line_length, const FilterCoefficients& coefficients,
                             std::optional<std::size_t> pad_count = std::nullopt) {
    const std::vector<Sample> before = from;
    std::vector<Sample> in_place = from;
    std::vector<Sample> to(from.size(), static_cast<Sample>(UNTOUCHED));
    set_filter.filter_in_place(in_place, line_length, coefficients, pad_count);
    set_filter.add(from, to, line_length, coefficients, pad_count);
    set_filter.finish();
    ASSERT_TRUE(same_bits(to.data(), in_place.data(), to.size()))
        << coefficients.b.size() << " taps, lines of " << line_length << ", sample "
        << first_difference(to, in_place);
    ASSERT_TRUE(same_bits(from.data(), before.data(), from.size())) << "lines of " << line_length;
}

template <class Sample>
void expect_bits_of_in_place_for_any_lines_and_gaps(FilterPath path, Missing missing) {
    RandomFilters random(20);
    SetFilter<Sample> set_filter(path, missing);
    for (int trial = 0; trial < 300; ++trial) {
        FilterCoefficients coefficients = random.filter(random.count(1, 17), random.one_in(4));
        if (random.one_in(8)) {
            coefficients.a = {1.0};
        }
        const std::size_t line_length = random.count(1, 500);
        auto samples = random.samples<Sample>(line_length * random.count(1, 40));
        if (!random.one_in(3)) {
            random.make_gaps(samples);
        }
        expect_bits_of_in_place(set_filter, samples, line_length, coefficients, random.pad_count());
    }
}

TEST_P(FilterSetApart, GivesTheBitsOfInPlaceForAnyLinesAndGaps) {
    for (const Missing missing : {Missing::Omit, Missing::Propagate}) {
        expect_bits_of_in_place_for_any_lines_and_gaps<float>(GetParam(), missing);
        expect_bits_of_in_place_for_any_lines_and_gaps<double>(GetParam(), missing);
    }
}

// More rows than are kept, and single lines that are cut into parts; with a signal throughout and
// one that falls silent, whole and with gaps.
template <class Sample>
void expect_bits_of_in_place_for_long_lines(FilterPath path) {
    RandomFilters random(21);
    SetFilter<Sample> set_filter(path);
    const FilterCoefficients missing = {{1.0, 0.0}, {1.0, static_cast<double>(NaN)}};
    for (const std::size_t line_count : {1U, 5U, 17U}) {
        const std::size_t line_length = 200'000 / line_count;
        std::vector<Sample> samples(line_count * line_length);
        for (const bool falls_silent : {false, true}) {
            for (std::size_t i = 0; i < samples.size(); ++i) {
                const bool is_silent = falls_silent && i % line_length > line_length / 10;
                samples[i] = static_cast<Sample>(is_silent ? 0.0 : random.number(-1.0, 1.0));
            }
            expect_bits_of_in_place(set_filter, samples, line_length, LOW_OF_ORDER_TWO);
            expect_bits_of_in_place(set_filter, samples, line_length, LOW_OF_ORDER_TWO, 0);
            random.make_gaps(samples);
            expect_bits_of_in_place(set_filter, samples, line_length, LOW_OF_ORDER_TWO);
        }
        expect_bits_of_in_place(set_filter, samples, line_length, missing);
        expect_bits_of_in_place(set_filter, samples, line_length, {});
    }
}

TEST_P(FilterSetApart, GivesTheBitsOfInPlaceForLongLines) {
    expect_bits_of_in_place_for_long_lines<float>(GetParam());
    expect_bits_of_in_place_for_long_lines<double>(GetParam());
}

TEST(FilterPath, IsOneThatEveryProcessorOfTheArchitectureHasOrWider) {
    EXPECT_TRUE(can_take(FilterPath::Plain));
    EXPECT_TRUE(can_take(FilterPath::Baseline));
    EXPECT_TRUE(can_take(best_filter_path()));
    EXPECT_NE(best_filter_path(), FilterPath::Plain);
    EXPECT_EQ(lane_paths().front().path, FilterPath::Baseline);
}

#if defined(__x86_64__)
// Where the system tells which instructions the processor has.
TEST(FilterPath, IsTheWidestThatTheProcessorHas) {
    std::ifstream processors("/proc/cpuinfo");
    std::string flags;
    while (std::getline(processors, flags) && flags.find("flags") != 0) {
    }
    if (!processors) {
        GTEST_SKIP() << "no list of the processor's instructions";
    }
    flags += ' ';
    const bool has_avx2 = flags.find(" avx2 ") != std::string::npos;
    bool has_avx512 = true;
    for (const char* flag : {" avx512f ", " avx512vl ", " avx512dq ", " avx512bw "}) {
        has_avx512 = has_avx512 && flags.find(flag) != std::string::npos;
    }
    EXPECT_EQ(can_take(FilterPath::Avx2), has_avx2);
    EXPECT_EQ(can_take(FilterPath::Avx512), has_avx512);
    const FilterPath widest_without_avx512 = has_avx2 ? FilterPath::Avx2 : FilterPath::Baseline;
    EXPECT_EQ(best_filter_path(), has_avx512 ? FilterPath::Avx512 : widest_without_avx512);
}
#else
TEST(FilterPath, HasNoneOfOtherArchitectures) {
    EXPECT_FALSE(can_take(FilterPath::Avx2));
    EXPECT_FALSE(can_take(FilterPath::Avx512));
}
#endif

// Long lines side by side, and one of many runs.
TEST_P(FilterSetInPlace, PausesWithinLines) {
    if (GetParam() == FilterPath::Plain) {
        return;
    }
    constexpr std::size_t LENGTH = 4'000'000;
    for (const std::size_t gap_distance : {std::size_t{100}, 10 * LENGTH}) {
        for (const std::size_t line_count : {1U, 4U, 40U}) {
            Line samples(LENGTH, 1.0F);
            for (std::size_t place = 50; place < LENGTH; place += gap_distance) {
                samples[place] = NaN;
            }
            std::size_t pause_count = 0;
            SetFilter<float>(GetParam(), Missing::Omit, [&] {
                ++pause_count;
            }).filter_in_place(samples, LENGTH / line_count, LOW_OF_ORDER_TWO);
            EXPECT_GE(pause_count, LENGTH / Pauses::SAMPLES_APART / 2);
        }
    }
}

// Runs of one length, and of many: long ones, and more short ones than are collected.
TEST_P(FilterSetInPlace, GivesThePlainBitsWhenNotAllRunsAreCollectedAtOnce) {
    RandomFilters random(6);
    const FilterCoefficients coefficients = random.filter(3, false);
    struct {
        std::size_t line_length;
        std::size_t line_count;
        bool have_gaps;
    } const sets[] = {{2100, 40, false}, {9000, 64, true}, {40, 3000, true}};
    for (const auto& set : sets) {
        Line samples = random.samples(set.line_length * set.line_count);
        for (std::size_t first = 0; set.have_gaps && first < samples.size();
             first += set.line_length) {
            samples[first + random.count(0, set.line_length - 1)] = NaN;
        }
        const Line expected = filter_plainly(samples, set.line_length, coefficients);
        filter(samples, set.line_length, coefficients);
        EXPECT_EQ(first_difference(samples, expected), expected.size()) << set.line_length;
    }
}

} // namespace
} // namespace talvora::dsp
