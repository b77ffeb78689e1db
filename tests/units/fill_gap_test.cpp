#include "tests/support/recording_host.h"
#include "tests/support/special_values.h"
#include "tests/units/sample_patterns.h"
#include "tests/units/shared_messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace talvora::test_support {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char FILL_GAP[] = "orvane.signal.apply-set-fill-gap";
constexpr char LEGACY_FILL_GAP[] = "signal.set-fill-gap";

constexpr char NO_LENGTH_ERROR[] =
    "context error: No information related to the maximum gap length found";
constexpr char HINT_ERROR[] =
    "context error: Value out of range. The hint to compute the maximum gap length based on the "
    "'SampleRate' property must be in the range ]0, 1]";
constexpr char LENGTH_RATE_ERROR[] =
    "context error: Missing attribute 'SampleRate' or null value to "
    "compute the maximum gap length for a set to fill";

constexpr std::int64_t SMALLEST = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t LARGEST = std::numeric_limits<std::int64_t>::max();

void prepare_gaps(RecordingHost& host, std::vector<std::uint64_t> extents,
                  std::vector<float> samples, std::int64_t max_gap_length) {
    host.dataset("x", std::move(extents), std::move(samples)).attribute_float("SampleRate", 100);
    host.set_parameter("SourceSets", Texts{"x"});
    host.set_parameter("MaxGapLength", max_gap_length);
}

// Gaps of one, two and three samples.
const std::vector<float> LINE = {NaN, 2, NaN, 4, NaN, NaN, 1, NaN, NaN, NaN, 5, NaN};

std::vector<float> run_on_line(const std::vector<float>& line, std::int64_t max_gap_length) {
    RecordingHost host;
    prepare_gaps(host, {line.size()}, line, max_gap_length);
    EXPECT_TRUE(host.run(FILL_GAP));
    return host.samples("x");
}

// The maximum gap length that the unit uses for a rate and a hint.
std::int64_t resolve_hint(float rate, double hint) {
    RecordingHost host;
    prepare_gaps(host, {3}, {0, NaN, 2}, 0);
    host.dataset("x").attribute_float("SampleRate", rate);
    host.set_parameter("HintMaxGapLength", hint);
    EXPECT_TRUE(host.run(FILL_GAP));
    return host.dataset("x").attribute<std::int64_t>("FillGapMaxGapLength");
}

TEST(FillGap, FillsGapsUpToTheMaximumAndLeavesTheEndsMissing) {
    EXPECT_EQ(as_bits(run_on_line(LINE, 2)),
              as_bits({NaN, 2, 3, 4, 3, 2, 1, NaN, NaN, NaN, 5, NaN}));
}

TEST(FillGap, FillsEveryGapWithANegativeMaximum) {
    RecordingHost host;
    prepare_gaps(host, {LINE.size()}, LINE, -1);
    EXPECT_TRUE(host.run(FILL_GAP));
    EXPECT_EQ(as_bits(host.samples("x")), as_bits({NaN, 2, 3, 4, 3, 2, 1, 2, 3, 4, 5, NaN}));
    EXPECT_EQ(host.dataset("x").attribute<std::int64_t>("FillGapMaxGapLength"), LARGEST);
}

// /usr/bin/python3 -c "import numpy as np; f=np.float32; a,b=f(0.1),f(0.7); print(*[
// float(f(k)/f(7)*(b-a)+a).hex() for k in range(1,7)])" gives these; in double precision the
// second and the third would round to another value.
TEST(FillGap, InterpolatesInSinglePrecision) {
    EXPECT_THAT(run_on_line({0.1F, NaN, NaN, NaN, NaN, NaN, NaN, 0.7F}, 6),
                ElementsAre(0.1F, 0x1.7c57c6p-3F, 0x1.15f160p-2F, 0x1.6db6dap-2F, 0x1.c57c58p-2F,
                            0x1.0ea0eap-1F, 0x1.3a83a8p-1F, 0.7F));
}

TEST(FillGap, CountsInfinitiesAsSamples) {
    EXPECT_EQ(run_on_line({1, NaN, INF}, 1)[1], INF);
}

TEST(FillGap, WritesFourAttributesOfTheirTypes) {
    RecordingHost host;
    prepare_gaps(host, {LINE.size()}, LINE, 2);
    host.set_parameter("HintMaxGapLength", 7.5);
    EXPECT_TRUE(host.run(FILL_GAP));
    const DataSet& set = host.dataset("x");
    EXPECT_EQ(set.attribute<std::string>("FillGapType"), "LinearInterpolation");
    EXPECT_EQ(set.attribute_slot("FillGapType"), 34);
    EXPECT_EQ(set.attribute<std::int64_t>("FillGapMaxGapLength"), 2);
    EXPECT_EQ(set.attribute_slot("FillGapMaxGapLength"), 30);
    EXPECT_EQ(set.attribute<double>("FillGapMaxGapLengthHint"), 7.5);
    EXPECT_EQ(set.attribute_slot("FillGapMaxGapLengthHint"), 33);
    EXPECT_EQ(set.attribute<IntegerArray>("FillGapSamplesFilled"),
              (IntegerArray{{2, 1, 4, 2}, {2, 2}}));
    EXPECT_EQ(set.attribute_slot("FillGapSamplesFilled"), 42);
    EXPECT_THAT(set.attribute_names(),
                ElementsAre("FillGapMaxGapLength", "FillGapMaxGapLengthHint",
                            "FillGapSamplesFilled", "FillGapType", "SampleRate"));
}

TEST(FillGap, ListsTheGapsOfAllLinesInOrder) {
    RecordingHost host;
    prepare_gaps(host, {3, 4}, {1, NaN, 3, NaN, 1, NaN, NaN, 4, NaN, 1, NaN, 3}, -1);
    EXPECT_TRUE(host.run(FILL_GAP));
    EXPECT_EQ(host.dataset("x").attribute<IntegerArray>("FillGapSamplesFilled"),
              (IntegerArray{{1, 1, 1, 2, 2, 1}, {3, 2}}));
}

TEST(FillGap, StartsTheListAnewForEachSet) {
    RecordingHost host;
    prepare_gaps(host, {3}, {1, NaN, 3}, 1);
    host.dataset("y", {5}, {1, 2, 3, NaN, 5});
    host.set_parameter("SourceSets", Texts{"x", "y"});
    EXPECT_TRUE(host.run(FILL_GAP));
    EXPECT_EQ(host.dataset("y").attribute<IntegerArray>("FillGapSamplesFilled"),
              (IntegerArray{{3, 1}, {1, 2}}));
}

// 1000 lines with 15 gaps each: far more rows than a line has samples.
TEST(FillGap, KeepsTheRowsOfThousandsOfGaps) {
    constexpr std::size_t LINE_COUNT = 1000;
    constexpr std::size_t LENGTH = 31;
    RecordingHost host;
    prepare_gaps(host, {LINE_COUNT, LENGTH},
                 make_samples({LINE_COUNT, LENGTH}, 1,
                              [](auto, auto position) {
                                  return position % 2 == 1 ? NaN : static_cast<float>(position);
                              }),
                 1);
    EXPECT_TRUE(host.run(FILL_GAP));
    const auto& rows = host.dataset("x").attribute<IntegerArray>("FillGapSamplesFilled");
    ASSERT_THAT(rows.extents, ElementsAre(15000, 2));
    for (std::size_t row = 0; row < 15000; ++row) {
        ASSERT_EQ(rows.values[2 * row], static_cast<std::int64_t>(row % 15 * 2 + 1));
        ASSERT_EQ(rows.values[2 * row + 1], 1);
    }
    EXPECT_EQ(host.samples("x"), make_samples({LINE_COUNT, LENGTH}, 1, [](auto, auto position) {
                  return static_cast<float>(position);
              }));
}

TEST(FillGap, WritesBackOnlyLinesWithAGapInside) {
    RecordingHost host;
    prepare_gaps(host, {5, 3}, {1, 2, 3, NaN, NaN, NaN, NaN, 2, 3, 1, 2, NaN, 1, NaN, 3}, 1);
    EXPECT_TRUE(host.run(FILL_GAP));
    EXPECT_EQ(host.calls_of({"read_samples"}).size(), 5U);
    EXPECT_THAT(host.calls_of({"write_samples"}), ElementsAre("write_samples x [4,0|1,3]"));
}

TEST(FillGap, WritesALineBackAlsoWhenItsGapsAreTooLong) {
    RecordingHost host;
    prepare_gaps(host, {4}, {1, NaN, NaN, 4}, 1);
    EXPECT_TRUE(host.run(FILL_GAP));
    EXPECT_EQ(as_bits(host.samples("x")), as_bits({1, NaN, NaN, 4}));
    EXPECT_EQ(host.calls_of({"write_samples"}).size(), 1U);
    EXPECT_EQ(host.dataset("x").attribute<IntegerArray>("FillGapSamplesFilled"),
              (IntegerArray{{}, {0, 2}}));
}

TEST(FillGap, WritesItsAttributesWhenNothingIsMissing) {
    RecordingHost host;
    prepare_gaps(host, {2}, {1, 2}, 5);
    EXPECT_TRUE(host.run(FILL_GAP));
    EXPECT_EQ(host.dataset("x").attribute<IntegerArray>("FillGapSamplesFilled"),
              (IntegerArray{{}, {0, 2}}));
}

TEST(FillGap, FillsLinesAlongEveryAxis) {
    for_every_axis([](const std::vector<std::uint64_t>& extents, std::size_t axis) {
        const std::uint64_t last = extents[axis] - 1;
        const auto value = [](auto line, auto position) {
            return static_cast<float>(line) + 2 * static_cast<float>(position);
        };
        RecordingHost host;
        prepare_gaps(host, extents,
                     make_samples(extents, axis,
                                  [&](auto line, auto position) {
                                      return position == 0 || position == last
                                                 ? value(line, position)
                                                 : NaN;
                                  }),
                     -1);
        host.set_parameter("Axis", static_cast<std::int64_t>(axis));
        EXPECT_TRUE(host.run(FILL_GAP));
        EXPECT_EQ(host.samples("x"), make_samples(extents, axis, value));
    });
}

TEST(FillGap, MakesTheMaximumOfRateTimesHint) {
    EXPECT_EQ(resolve_hint(100, 0.05), 5);
    EXPECT_EQ(resolve_hint(100, 0.051), 6);
    EXPECT_EQ(resolve_hint(100, 1.0), 100);
    EXPECT_EQ(resolve_hint(1e-3F, 1e-300), 1);
}

// The rate is a single-precision number: 0.1F is a little more than a tenth.
TEST(FillGap, MultipliesRateAndHintInDoublePrecision) {
    EXPECT_EQ(resolve_hint(0.1F * 10, 1.0), 1);
    EXPECT_EQ(resolve_hint(16777216.0F, 0.5 + 1e-12), 8388609);
}

TEST(FillGap, FillsNothingWhereTheMaximumIsNotANumberOrDoesNotFit) {
    EXPECT_EQ(resolve_hint(NaN, 0.5), SMALLEST);
    EXPECT_EQ(resolve_hint(100, std::numeric_limits<double>::quiet_NaN()), SMALLEST);
    EXPECT_EQ(resolve_hint(INF, 0.5), SMALLEST);
    EXPECT_EQ(resolve_hint(1e30F, 1.0), SMALLEST);
    RecordingHost host;
    prepare_gaps(host, {3}, {0, NaN, 2}, 0);
    host.dataset("x").attribute_float("SampleRate", NaN);
    host.set_parameter("HintMaxGapLength", 0.5);
    EXPECT_TRUE(host.run(FILL_GAP));
    EXPECT_EQ(as_bits(host.samples("x")), as_bits({0, NaN, 2}));
    EXPECT_EQ(host.dataset("x").attribute<IntegerArray>("FillGapSamplesFilled"),
              (IntegerArray{{}, {0, 2}}));
}

TEST(FillGap, FailsWithoutAMaximumEvenWithNothingSelected) {
    RecordingHost host;
    host.set_parameter("SourceSets", Texts{});
    EXPECT_FALSE(host.run(FILL_GAP));
    EXPECT_THAT(host.message_texts(), ElementsAre(NO_LENGTH_ERROR));
    EXPECT_THAT(host.calls_of({"read_integer", "read_number"}),
                ElementsAre("read_integer MaxGapLength", "read_number HintMaxGapLength"));
}

TEST(FillGap, FailsOnAHintOutOfRange) {
    for (const double hint : {-0.5, 1.0000001, std::numeric_limits<double>::infinity()}) {
        RecordingHost host;
        prepare_gaps(host, {3}, {0, NaN, 2}, 0);
        host.set_parameter("HintMaxGapLength", hint);
        EXPECT_FALSE(host.run(FILL_GAP));
        EXPECT_THAT(host.message_texts(), ElementsAre(HINT_ERROR));
        EXPECT_THAT(host.calls_of({"dataset_shape", "read_integer Axis"}), IsEmpty());
    }
}

TEST(FillGap, DoesNotTestTheHintNorReadRatesWithAMaximumInSamples) {
    RecordingHost host;
    prepare_gaps(host, {3}, {0, NaN, 2}, 1);
    host.dataset("x").attribute_float("SampleRate", 0);
    host.set_parameter("HintMaxGapLength", -3.0);
    EXPECT_TRUE(host.run(FILL_GAP));
    EXPECT_THAT(host.samples("x"), ElementsAre(0, 1, 2));
    EXPECT_THAT(host.calls_of({"read_float_attribute"}), IsEmpty());
}

TEST(FillGap, ReportsASetWithoutARateAndGoesOn) {
    for (const float rate : {0.0F, -1.0F, -INF}) {
        RecordingHost host;
        prepare_gaps(host, {3}, {0, NaN, 2}, 0);
        host.dataset("x").attribute_float("SampleRate", rate);
        host.dataset("y", {3}, {0, NaN, 2}).attribute_float("SampleRate", 100);
        host.set_parameter("SourceSets", Texts{"x", "y"});
        host.set_parameter("HintMaxGapLength", 0.5);
        EXPECT_TRUE(host.run(FILL_GAP));
        EXPECT_THAT(host.message_texts(), ElementsAre(LENGTH_RATE_ERROR));
        EXPECT_THAT(host.dataset("x").attribute_names(), ElementsAre("SampleRate"));
        EXPECT_THAT(host.samples("y"), ElementsAre(0, 1, 2));
    }
}

TEST(FillGap, StopsAtAnAxisOutOfRangeAndKeepsEarlierSets) {
    for (const std::int64_t axis : {std::int64_t{1}, std::int64_t{1} << 32}) {
        RecordingHost host;
        prepare_gaps(host, {1, 3}, {0, NaN, 2}, 1);
        host.dataset("y", {3}, {0, NaN, 2});
        host.dataset("z", {1, 3}, {0, NaN, 2});
        host.set_parameter("SourceSets", Texts{"x", "y", "z"});
        host.set_parameter("Axis", axis);
        EXPECT_FALSE(host.run(FILL_GAP));
        EXPECT_THAT(host.message_texts(), ElementsAre(AXIS_ERROR));
        EXPECT_EQ(std::isnan(host.samples("x")[1]), axis != 1);
        EXPECT_TRUE(std::isnan(host.samples("z")[1]));
    }
}

TEST(FillGap, SkipsASetOfRankZeroWithoutAMessage) {
    RecordingHost host;
    prepare_gaps(host, {}, {1}, 1);
    host.set_parameter("Axis", std::int64_t{5});
    EXPECT_TRUE(host.run(FILL_GAP));
    EXPECT_THAT(host.messages(), IsEmpty());
    EXPECT_THAT(host.dataset("x").attribute_names(), ElementsAre("SampleRate"));
}

TEST(FillGap, WritesItsAttributesToASetWithoutSamples) {
    RecordingHost host;
    prepare_gaps(host, {3, 0}, {}, 1);
    EXPECT_TRUE(host.run(FILL_GAP));
    EXPECT_THAT(host.calls_of({"write_samples"}), IsEmpty());
    EXPECT_TRUE(host.dataset("x").has_attribute("FillGapSamplesFilled"));
}

// There may be any number of such lines, in a set that takes no room.
TEST(FillGap, ReadsNoLinesWithoutSamples) {
    for (const std::vector<std::uint64_t>& extents :
         {std::vector<std::uint64_t>{3, 0}, std::vector<std::uint64_t>{std::uint64_t{1} << 61U, 0},
          std::vector<std::uint64_t>{std::uint64_t{1} << 31U, std::uint64_t{1} << 30U, 0},
          std::vector<std::uint64_t>{std::uint64_t{1} << 32U, std::uint64_t{1} << 32U, 0}}) {
        RecordingHost host;
        prepare_gaps(host, extents, {}, 1);
        EXPECT_TRUE(host.run(FILL_GAP));
        ASSERT_THAT(host.calls_of({"read_samples", "write_samples"}), IsEmpty());
        EXPECT_EQ(host.dataset("x").attribute<IntegerArray>("FillGapSamplesFilled"),
                  (IntegerArray{{}, {0, 2}}));
    }
}

TEST(FillGap, AsksTheHostInItsOrder) {
    RecordingHost host;
    prepare_gaps(host, {2, 3}, {0, NaN, 2, 1, 2, 3}, 0);
    host.set_parameter("HintMaxGapLength", 0.5);
    EXPECT_TRUE(host.run(FILL_GAP));
    EXPECT_THAT(host.calls(),
                ElementsAre("root_group", "read_string_list SourceSets", "read_string SourceGroup",
                            "read_boolean ScanRecursive", "open_dataset / x", "dataset_is_valid x",
                            "read_integer MaxGapLength", "read_number HintMaxGapLength",
                            "read_integer Axis", "read_float_attribute x SampleRate",
                            "dataset_shape x", "read_samples x [0,0|1,3]",
                            "write_samples x [0,0|1,3]", "read_samples x [1,0|1,3]",
                            "write_string_attribute x FillGapType LinearInterpolation",
                            "write_integer_attribute x FillGapMaxGapLength 50",
                            "write_number_attribute x FillGapMaxGapLengthHint 0.5",
                            "write_integer_array_attribute x FillGapSamplesFilled [1,2]"));
}

TEST(FillGap, FailsWithoutASource) {
    RecordingHost host;
    EXPECT_FALSE(host.run(FILL_GAP));
    EXPECT_THAT(host.message_texts(),
                ElementsAre("context error: No source found to get data set(s)"));
}

TEST(FillGap, DoesTheSameUnderItsLegacyIdentifier) {
    RecordingHost host;
    prepare_gaps(host, {3}, {0, NaN, 2}, 1);
    EXPECT_TRUE(host.run(LEGACY_FILL_GAP));
    EXPECT_THAT(host.samples("x"), ElementsAre(0, 1, 2));
}

} // namespace
} // namespace talvora::test_support
