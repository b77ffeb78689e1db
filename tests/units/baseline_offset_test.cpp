#include "tests/support/recording_host.h"
#include "tests/support/special_values.h"
#include "tests/units/sample_patterns.h"
#include "tests/units/shared_messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

namespace talvora::test_support {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char BASELINE[] = "orvane.signal.apply-set-baseline-offset";
constexpr char LEGACY_BASELINE[] = "signal.set-baseline-offset";

void prepare_baseline(RecordingHost& host, std::vector<std::uint64_t> extents,
                      std::vector<float> samples) {
    host.dataset("x", std::move(extents), std::move(samples));
    host.set_parameter("SourceSets", Texts{"x"});
}

std::vector<float> run_on_line(std::vector<float> line) {
    RecordingHost host;
    prepare_baseline(host, {line.size()}, line);
    EXPECT_TRUE(host.run(BASELINE));
    return host.samples("x");
}

// What the unit reports of a line.
double report_on_line(std::vector<float> line) {
    RecordingHost host;
    prepare_baseline(host, {line.size()}, line);
    EXPECT_TRUE(host.run(BASELINE));
    EXPECT_EQ(host.messages().size(), 1U);
    EXPECT_EQ(host.messages().at(0).channel, Channel::INFO);
    EXPECT_EQ(host.messages().at(0).text_template, "Computed SNR: %f");
    return std::get<double>(host.messages().at(0).arguments.at(0));
}

// The fifth and sixth smallest of the first ten are 5 and 8.
TEST(BaselineOffset, TakesTheMedianOfTheFirstTenSamplesOffTheLine) {
    EXPECT_THAT(run_on_line({5, 1, 2, 20, 8, 3, 30, 40, 4, 50, 1000, -1000}),
                ElementsAre(-1.5F, -5.5F, -4.5F, 13.5F, 1.5F, -3.5F, 23.5F, 33.5F, -2.5F, 43.5F,
                            993.5F, -1006.5F));
}

TEST(BaselineOffset, TakesTheFourthSmallestOfSevenSamples) {
    EXPECT_THAT(run_on_line({7, 1, 6, 2, 5, 3, 4}), ElementsAre(3, -3, 2, -2, 1, -1, 0));
}

TEST(BaselineOffset, LeavesZeroOfASingleSample) {
    EXPECT_THAT(run_on_line({-3.5F}), ElementsAre(0));
}

TEST(BaselineOffset, LeavesZerosOfAConstantLine) {
    EXPECT_THAT(run_on_line(std::vector<float>(25, 5.0F)), Each(0.0F));
}

// inf - inf; a NaN sample keeps its bits, whatever is taken off it.
TEST(BaselineOffset, HasOneNaNForWhatHasNoDifference) {
    constexpr float PAYLOAD = std::bit_cast<float>(0x7FC01234U);
    const std::vector<float> line = run_on_line(
        {static_cast<float>(INF_DOUBLE), static_cast<float>(INF_DOUBLE), PAYLOAD, 1, 2, 3, 4});
    EXPECT_TRUE(std::isfinite(line[3]));
    EXPECT_EQ(std::bit_cast<std::uint32_t>(line[2]), 0x7FC01234U);
    const std::vector<float> infinite = run_on_line(std::vector(5, static_cast<float>(INF_DOUBLE)));
    EXPECT_EQ(std::bit_cast<std::uint32_t>(infinite[0]), 0xFFC00000U);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(run_on_line({PAYLOAD})[0]), 0x7FC01234U);
}

// 1 to 10: mean 5.5, standard deviation sqrt(82.5 / 9).
TEST(BaselineOffset, ReportsTheMeanOfTheOpeningInStandardDeviations) {
    EXPECT_FLOAT_EQ(
        static_cast<float>(report_on_line({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 1e6F, -1e6F})),
        1.8165902F);
    EXPECT_EQ(report_on_line({1, 3}), static_cast<double>(2.0F / std::sqrt(2.0F)));
}

TEST(BaselineOffset, ReportsAnInfinityOrNaNWhenNothingDeviates) {
    EXPECT_EQ(report_on_line({5, 5, 5}), INF_DOUBLE);
    EXPECT_EQ(report_on_line({-2}), -INF_DOUBLE);
    EXPECT_TRUE(std::isnan(report_on_line({0})));
}

// Worked by hand: the quicksort takes the NaN as its first pivot, and 6 7 8 9 10 1 2 3
// NaN 4 comes out, with 1 and 10 in the middle. The mean of the valid values is 50 / 9,
// their median 6.
TEST(BaselineOffset, SortsANaNInTheOpeningAsItsQuicksortMeetsIt) {
    const std::vector<float> line = run_on_line({1, 2, 3, 4, NaN, 6, 7, 8, 9, 10, 100});
    EXPECT_EQ(line[0], -4.5F);
    EXPECT_TRUE(std::isnan(line[4]));
    EXPECT_EQ(line[10], 94.5F);
}

TEST(BaselineOffset, MakesALineMissingWhoseBaselineIs) {
    for (const float sample : run_on_line({NaN, 9, 8, 7, 6, 5, 4, 3, 2, 1, 100})) {
        EXPECT_TRUE(std::isnan(sample));
    }
}

TEST(BaselineOffset, DoesNotLookAtMissingSamplesBehindTheOpening) {
    const std::vector<float> line = run_on_line({1, 1, 1, 1, 1, 1, 1, 1, 1, 1, NaN, 4});
    EXPECT_TRUE(std::isnan(line[10]));
    EXPECT_EQ(line[11], 3.0F);
}

// Lines that rise by 1 from 100 times their number: their median is half their rise.
TEST(BaselineOffset, GivesEachLineAlongAnyAxisABaselineOfItsOwn) {
    for_every_axis([](const std::vector<std::uint64_t>& extents, std::size_t axis) {
        const float middle = static_cast<float>(extents[axis] - 1) / 2;
        RecordingHost host;
        prepare_baseline(host, extents, make_samples(extents, axis, [](auto line, auto position) {
                             return static_cast<float>(100 * line + position);
                         }));
        host.set_parameter("Axis", static_cast<std::int64_t>(axis));
        EXPECT_TRUE(host.run(BASELINE));
        EXPECT_EQ(host.samples("x"), make_samples(extents, axis, [middle](auto, auto position) {
                      return static_cast<float>(position) - middle;
                  }));
    });
}

TEST(BaselineOffset, ChangesNoAttribute) {
    RecordingHost host;
    prepare_baseline(host, {2}, {1, 2});
    host.dataset("x").attribute_float("SampleRate", 100).attribute_text("Unit", "m");
    EXPECT_TRUE(host.run(BASELINE));
    EXPECT_THAT(host.dataset("x").attribute_names(), ElementsAre("SampleRate", "Unit"));
    EXPECT_EQ(host.dataset("x").attribute_slot("SampleRate"), GIVEN_BY_TEST);
}

TEST(BaselineOffset, ReadsReportsAndWritesLineByLine) {
    RecordingHost host;
    prepare_baseline(host, {2, 1, 2}, {1, 3, 5, 5});
    EXPECT_TRUE(host.run(BASELINE));
    EXPECT_THAT(host.calls(),
                ElementsAre("root_group", "read_string_list SourceSets", "read_string SourceGroup",
                            "read_boolean ScanRecursive", "open_dataset / x", "dataset_is_valid x",
                            "root_group", "read_integer Axis", "dataset_shape x",
                            "read_samples x [0,0,0|1,1,2]", "info: Computed SNR: 1.414214",
                            "write_samples x [0,0,0|1,1,2]", "read_samples x [1,0,0|1,1,2]",
                            "info: Computed SNR: inf", "write_samples x [1,0,0|1,1,2]"));
}

TEST(BaselineOffset, FailsBeforeAnyChangeWhenAnAxisIsOutOfRange) {
    for (const std::int64_t axis : {std::int64_t{1}, std::int64_t{1} << 32}) {
        RecordingHost host;
        host.dataset("first", {1, 1, 2}, {1, 3});
        host.dataset("second", {2}, {1, 3});
        host.set_parameter("SourceSets", Texts{"first", "second"});
        host.set_parameter("Axis", axis);
        EXPECT_FALSE(host.run(BASELINE));
        EXPECT_THAT(host.message_texts(), ElementsAre(AXIS_ERROR));
        EXPECT_THAT(host.calls_of({"read_samples", "write_samples"}), IsEmpty());
    }
}

TEST(BaselineOffset, FailsOnASetOfRankZero) {
    RecordingHost host;
    prepare_baseline(host, {}, {1});
    EXPECT_FALSE(host.run(BASELINE));
    EXPECT_THAT(host.message_texts(), ElementsAre(AXIS_ERROR));
}

TEST(BaselineOffset, SkipsLinesWithoutSamples) {
    for (const std::vector<std::uint64_t>& extents :
         {std::vector<std::uint64_t>{3, 0}, std::vector<std::uint64_t>{0, 3},
          std::vector<std::uint64_t>{std::uint64_t{1} << 61U, 0},
          std::vector<std::uint64_t>{std::uint64_t{1} << 31U, std::uint64_t{1} << 30U, 0},
          std::vector<std::uint64_t>{std::uint64_t{1} << 32U, std::uint64_t{1} << 32U, 0}}) {
        RecordingHost host;
        prepare_baseline(host, extents, {});
        EXPECT_TRUE(host.run(BASELINE));
        EXPECT_THAT(host.calls_of({"read_samples", "write_samples"}), IsEmpty());
        EXPECT_THAT(host.messages(), IsEmpty());
    }
}

TEST(BaselineOffset, SucceedsWithNothingSelected) {
    RecordingHost host;
    host.set_parameter("SourceSets", Texts{});
    EXPECT_TRUE(host.run(BASELINE));
    EXPECT_THAT(host.messages(), IsEmpty());
}

TEST(BaselineOffset, FailsWhenASourceIsMissing) {
    RecordingHost host;
    host.set_parameter("SourceSets", Texts{"y"});
    EXPECT_FALSE(host.run(BASELINE));
    EXPECT_THAT(host.message_texts(), ElementsAre("context error: No data set 'y' found"));
}

TEST(BaselineOffset, DoesTheSameUnderItsLegacyIdentifier) {
    RecordingHost host;
    prepare_baseline(host, {1, 2}, {1, 3});
    EXPECT_TRUE(host.run(LEGACY_BASELINE));
    EXPECT_THAT(host.samples("x"), ElementsAre(-1, 1));
    EXPECT_THAT(host.message_texts(), ElementsAre("info: Computed SNR: 1.414214"));
}

} // namespace
} // namespace talvora::test_support
