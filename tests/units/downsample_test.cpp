#include "tests/support/recording_host.h"
#include "tests/support/special_values.h"
#include "tests/units/sample_patterns.h"
#include "tests/units/shared_messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace talvora::test_support {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char DOWNSAMPLE[] = "orvane.signal.apply-set-downsample";
constexpr char LEGACY_DOWNSAMPLE[] = "signal.set-downsample";

constexpr char FACTOR_ERROR[] = "context error: At least one factor is NaN, this may be caused by "
                                "hint set/group attribute SampleRate being 0 or NAN";

const std::vector<std::string> SAMPLE_SLOTS = {"read_samples", "write_samples", "resize_dataset"};

// A set "x" of the given extents that counts up, and a group "Hint" with a target rate.
void prepare_rates(RecordingHost& host, std::vector<std::uint64_t> extents, float rate,
                   float target) {
    const std::uint64_t count =
        std::accumulate(extents.begin(), extents.end(), std::uint64_t{1}, std::multiplies<>());
    host.dataset("x", std::move(extents), count_up(count)).attribute_float("SampleRate", rate);
    host.group("Hint").attribute_float("SampleRate", target);
    host.set_parameter("SourceSets", Texts{"x"});
    host.set_parameter("HintGroup", "Hint");
}

void expect_untouched(RecordingHost& host) {
    EXPECT_THAT(host.calls_of(SAMPLE_SLOTS), IsEmpty());
    EXPECT_THAT(host.calls_of({"write_float_attribute"}), IsEmpty());
}

TEST(Downsample, KeepsEveryKthSampleAndWritesRateAndCount) {
    RecordingHost host;
    prepare_rates(host, {10}, 90, 30);
    EXPECT_TRUE(host.run(DOWNSAMPLE));
    const DataSet& set = host.dataset("x");
    EXPECT_THAT(set.extents(), ElementsAre(3));
    EXPECT_THAT(set.samples(), ElementsAre(0, 3, 6));
    EXPECT_EQ(set.attribute<float>("SampleRate"), 30.0F);
    EXPECT_EQ(set.attribute<float>("NumSamples"), 3.0F);
    EXPECT_EQ(set.attribute_slot("SampleRate"), 32);
    EXPECT_EQ(set.attribute_slot("NumSamples"), 32);
    EXPECT_THAT(host.messages(), IsEmpty());
}

TEST(Downsample, LeavesSetsAtOrBelowTheTargetRateAlone) {
    for (const float rate : {30.0F, 29.0F}) {
        RecordingHost host;
        prepare_rates(host, {4}, rate, 30);
        EXPECT_TRUE(host.run(DOWNSAMPLE));
        expect_untouched(host);
    }
}

// k is 1: the samples stay, and yet rate and count are written.
TEST(Downsample, RewritesTheRateForAFactorBelowTwo) {
    RecordingHost host;
    prepare_rates(host, {4}, 75, 50);
    EXPECT_TRUE(host.run(DOWNSAMPLE));
    EXPECT_THAT(host.samples("x"), ElementsAre(0, 1, 2, 3));
    EXPECT_EQ(host.dataset("x").attribute<float>("SampleRate"), 50.0F);
    EXPECT_EQ(host.dataset("x").attribute<float>("NumSamples"), 4.0F);
}

// The factor 100 / 30 is 3.33 and the samples are 3 apart; the rate says 30 all the same.
TEST(Downsample, WritesTheRateDividedByTheFactorNotByTheStride) {
    RecordingHost host;
    prepare_rates(host, {7}, 100, 30);
    EXPECT_TRUE(host.run(DOWNSAMPLE));
    EXPECT_THAT(host.samples("x"), ElementsAre(0, 3));
    EXPECT_EQ(host.dataset("x").attribute<float>("SampleRate"), 30.0F);
}

// The list of rates holds each rate twice, so that set i takes the rate of set i / 2:
// with the rates 40, 20, 80 all but the third are reduced by 40 / 10, and that one by
// the rate of the second.
TEST(Downsample, ScalesEachSetByTheRateOfTheSetAtHalfItsPlace) {
    RecordingHost host;
    for (const auto& [name, rate] :
         {std::pair{"a", 40.0F}, std::pair{"b", 20.0F}, std::pair{"c", 80.0F}}) {
        host.dataset(name, {8}, count_up(8)).attribute_float("SampleRate", rate);
    }
    host.group("Hint").attribute_float("SampleRate", 10);
    host.set_parameter("HintGroup", "Hint");
    host.set_parameter("SourceSets", Texts{"a", "b", "c"});
    EXPECT_TRUE(host.run(DOWNSAMPLE));
    EXPECT_THAT(host.samples("a"), ElementsAre(0, 4));
    EXPECT_THAT(host.samples("b"), ElementsAre(0, 4));
    EXPECT_THAT(host.samples("c"), ElementsAre(0, 2, 4, 6));
    for (const char* name : {"a", "b", "c"}) {
        EXPECT_EQ(host.dataset(name).attribute<float>("SampleRate"), 10.0F);
    }
}

TEST(Downsample, DoesNotLookAtTheHintSetBesideAHintGroup) {
    RecordingHost host;
    prepare_rates(host, {4}, 20, 1);
    host.dataset("slow", {1}, {0}).attribute_float("SampleRate", 10);
    host.set_parameter("HintSet", "slow");
    EXPECT_TRUE(host.run(DOWNSAMPLE)); // by the group's rate of 1: 4 / 20 is 0
    EXPECT_THAT(host.samples("x"), IsEmpty());
    EXPECT_THAT(host.calls_of({"dataset_exists"}), IsEmpty());
    EXPECT_EQ(host.calls_of({"open_dataset"}).size(), 1U);
}

TEST(Downsample, TakesTheTargetRateFromASetWithoutAHintGroup) {
    RecordingHost host;
    host.dataset("x", {4}, count_up(4)).attribute_float("SampleRate", 20);
    host.dataset("slow", {1}, {0}).attribute_float("SampleRate", 10);
    host.set_parameter("SourceSets", Texts{"x"});
    host.set_parameter("HintSet", "slow");
    EXPECT_TRUE(host.run(DOWNSAMPLE));
    EXPECT_THAT(host.samples("x"), ElementsAre(0, 2));
}

TEST(Downsample, FailsWithoutAHintEvenWithNothingSelected) {
    RecordingHost host;
    host.set_parameter("SourceSets", Texts{});
    EXPECT_FALSE(host.run(DOWNSAMPLE));
    EXPECT_THAT(host.message_texts(),
                ElementsAre("context error: No hint found to compute the downsample factor"));
    EXPECT_EQ(host.calls_of({"root_group"}).size(), 1U) << "that of the selection";
}

TEST(Downsample, FailsWhenTheHintIsNotThere) {
    RecordingHost host;
    prepare_rates(host, {4}, 20, 10);
    host.set_parameter("HintGroup", "Nowhere");
    EXPECT_FALSE(host.run(DOWNSAMPLE));
    RecordingHost other;
    other.dataset("x", {4}, count_up(4)).attribute_float("SampleRate", 20);
    other.set_parameter("SourceSets", Texts{"x"});
    other.set_parameter("HintSet", "");
    EXPECT_FALSE(other.run(DOWNSAMPLE));
    EXPECT_THAT(host.message_texts(),
                ElementsAre("context error: Invalid hint group to compute the downsample factor"));
    EXPECT_THAT(other.message_texts(),
                ElementsAre("context error: Invalid hint set to compute the downsample factor"));
    EXPECT_THAT(host.calls_of({"read_integer"}), IsEmpty());
}

TEST(Downsample, CountsAnEmptyTextAsAHint) {
    RecordingHost host;
    prepare_rates(host, {4}, 20, 10);
    host.group("").attribute_float("SampleRate", 10);
    host.set_parameter("HintGroup", "");
    EXPECT_TRUE(host.run(DOWNSAMPLE));
    EXPECT_THAT(host.samples("x"), ElementsAre(0, 2));
}

TEST(Downsample, FailsOnATargetRateOfZeroOrNaN) {
    for (const float target : {0.0F, -0.0F, NaN}) {
        RecordingHost host;
        prepare_rates(host, {4}, 20, target);
        EXPECT_FALSE(host.run(DOWNSAMPLE));
        EXPECT_THAT(host.message_texts(),
                    ElementsAre("context error: At least one denominator is NaN or 0"));
        EXPECT_EQ(host.calls_of({"read_integer"}).size(), 1U) << "the axis is read before";
        expect_untouched(host);
    }
}

TEST(Downsample, SkipsEverySetForANegativeOrInfiniteTargetButUpdatesTheGroup) {
    for (const float target : {-5.0F, INF, -INF}) {
        RecordingHost host;
        prepare_rates(host, {4}, 20, target);
        host.group("Imu").attribute_float("SampleRate", 20);
        host.set_parameter("SourceGroup", "Imu");
        EXPECT_TRUE(host.run(DOWNSAMPLE));
        EXPECT_THAT(host.calls_of(SAMPLE_SLOTS), IsEmpty());
        EXPECT_EQ(host.group("Imu").attribute<float>("SampleRate"), target);
    }
}

TEST(Downsample, FailsBeforeAnyChangeWhenARateIsNotPositive) {
    for (const float rate : {0.0F, -1.0F, -INF}) {
        RecordingHost host;
        prepare_rates(host, {4}, 20, 10);
        host.dataset("y", {4}, count_up(4)).attribute_float("SampleRate", rate);
        host.set_parameter("SourceSets", Texts{"x", "y"});
        EXPECT_FALSE(host.run(DOWNSAMPLE));
        EXPECT_THAT(host.message_texts(), ElementsAre(RATE_ERROR));
        expect_untouched(host);
    }
}

TEST(Downsample, FailsBeforeAnyChangeWhenAnAxisIsOutOfRange) {
    for (const std::int64_t axis : {std::int64_t{1}, std::int64_t{1} << 32}) {
        RecordingHost host;
        prepare_rates(host, {2, 2}, 20, 10);
        host.dataset("y", {4}, count_up(4)).attribute_float("SampleRate", 20);
        host.set_parameter("SourceSets", Texts{"x", "y"});
        host.set_parameter("Axis", axis);
        EXPECT_FALSE(host.run(DOWNSAMPLE));
        EXPECT_THAT(host.message_texts(), ElementsAre(AXIS_ERROR));
        expect_untouched(host);
    }
}

TEST(Downsample, ChecksTheRateOfASetBeforeItsAxis) {
    RecordingHost host;
    prepare_rates(host, {4}, 0, 10);
    host.set_parameter("Axis", std::int64_t{1});
    EXPECT_FALSE(host.run(DOWNSAMPLE));
    EXPECT_THAT(host.message_texts(), ElementsAre(RATE_ERROR));
}

TEST(Downsample, FailsOnASetOfRankZero) {
    RecordingHost host;
    prepare_rates(host, {}, 20, 10);
    EXPECT_FALSE(host.run(DOWNSAMPLE));
    EXPECT_THAT(host.message_texts(), ElementsAre(AXIS_ERROR));
}

// The third set takes the rate of the second, which is NaN.
TEST(Downsample, KeepsWhatIsDoneWhenAFactorTurnsOutNaN) {
    RecordingHost host;
    for (const auto& [name, rate] :
         {std::pair{"a", 20.0F}, std::pair{"b", NaN}, std::pair{"c", 20.0F}}) {
        host.dataset(name, {4}, count_up(4)).attribute_float("SampleRate", rate);
    }
    host.group("Imu").attribute_float("SampleRate", 10);
    host.set_parameter("HintGroup", "Imu");
    host.set_parameter("SourceSets", Texts{"a", "b", "c"});
    host.set_parameter("SourceGroup", "Imu");
    EXPECT_FALSE(host.run(DOWNSAMPLE));
    EXPECT_THAT(host.message_texts(), ElementsAre(FACTOR_ERROR));
    EXPECT_THAT(host.samples("a"), ElementsAre(0, 2));
    EXPECT_THAT(host.samples("b"), ElementsAre(0, 2));
    EXPECT_THAT(host.samples("c"), ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(host.calls_of({"write_float_attribute Imu/"}), IsEmpty());
}

TEST(Downsample, LeavesNoSamplesForAFactorThatIsInfiniteOrTooLarge) {
    for (const float rate : {INF, 3e38F}) {
        RecordingHost host;
        prepare_rates(host, {4}, rate, 1);
        EXPECT_TRUE(host.run(DOWNSAMPLE));
        EXPECT_THAT(host.dataset("x").extents(), ElementsAre(0));
        EXPECT_EQ(host.dataset("x").attribute<float>("NumSamples"), 0.0F);
    }
}

TEST(Downsample, WritesNaNAsTheRateOfAnInfiniteOne) {
    RecordingHost host;
    prepare_rates(host, {4}, INF, 1);
    EXPECT_TRUE(host.run(DOWNSAMPLE));
    EXPECT_TRUE(std::isnan(host.dataset("x").attribute<float>("SampleRate")));
}

TEST(Downsample, TakesTheLastDimensionAsTheAxis) {
    for (std::size_t rank = 1; rank <= 4; ++rank) {
        const std::vector<std::uint64_t> extents = make_extents(rank);
        const std::size_t axis = rank - 1;
        const auto value = [](auto line, auto position) {
            return static_cast<float>(100 * line + position);
        };
        RecordingHost host;
        host.dataset("x", extents, make_samples(extents, axis, value))
            .attribute_float("SampleRate", 20);
        host.group("Hint").attribute_float("SampleRate", 10);
        host.set_parameter("SourceSets", Texts{"x"});
        host.set_parameter("HintGroup", "Hint");
        EXPECT_TRUE(host.run(DOWNSAMPLE));
        std::vector<std::uint64_t> reduced = extents;
        reduced[axis] /= 2;
        EXPECT_EQ(host.dataset("x").extents(), reduced);
        EXPECT_EQ(host.samples("x"), make_samples(reduced, axis, [&](auto line, auto position) {
                      return value(line, 2 * position);
                  }));
    }
}

// The new length goes to place 2 * axis + 1 of the request, which is the count of the
// axis for the last dimension only; elsewhere it is a start or another count.
TEST(Downsample, PutsTheNewLengthWhereItsIndexPoints) {
    struct Case {
        std::vector<std::uint64_t> extents;
        std::int64_t axis;
        std::string first_request;
    };
    const Case cases[] = {
        {{8, 4}, 0, "write_samples x [0,4|8,1]"},
        {{8, 3, 2}, 0, "write_samples x [0,4,0|8,1,1]"},
        {{2, 8, 4}, 1, "write_samples x [0,0,0|4,8,1]"},
        {{2, 8, 4}, 2, "write_samples x [0,0,0|1,1,2]"},
        {{8, 2, 3, 4}, 0, "write_samples x [0,4,0,0|8,1,1,1]"},
        {{2, 8, 3, 4}, 1, "write_samples x [0,0,0,4|1,8,1,1]"},
        {{2, 3, 8, 4}, 2, "write_samples x [0,0,0,0|1,4,8,1]"},
        {{2, 3, 4, 8}, 3, "write_samples x [0,0,0,0|1,1,1,4]"},
    };
    for (const Case& one : cases) {
        RecordingHost host;
        host.habits().clips_requests = true; // and takes all that a request names
        prepare_rates(host, one.extents, 20, 10);
        host.set_parameter("Axis", one.axis);
        EXPECT_TRUE(host.run(DOWNSAMPLE));
        EXPECT_EQ(host.calls_of({"write_samples"}).at(0), one.first_request);
    }
}

// 4 x 2 along the first axis, by 2: each request asks for four samples from column 2 on,
// of which this host finds none inside the set, and the first two rows are kept.
TEST(Downsample, LeavesAnAxisOtherThanTheLastToTheHost) {
    RecordingHost host;
    host.habits().clips_requests = true;
    prepare_rates(host, {4, 2}, 20, 10);
    host.set_parameter("Axis", ParameterValue{std::int64_t{0}});
    EXPECT_TRUE(host.run(DOWNSAMPLE));
    EXPECT_THAT(host.dataset("x").extents(), ElementsAre(2, 2));
    EXPECT_THAT(host.samples("x"), ElementsAre(0, 1, 2, 3));
}

// 2 x 4 x 1 along the middle, by 2: a request names 2 x 4 x 1 samples where the line has
// 2. This host takes all of them, so the first request writes 0 2 0 0 | 0 0 0 0 over
// both lines, and the second, from line 1 on, writes the zeros that it then reads there.
TEST(Downsample, HasZerosForWhatARequestNamesBeyondTheLine) {
    RecordingHost host;
    host.habits().clips_requests = true;
    prepare_rates(host, {2, 4, 1}, 20, 10);
    host.set_parameter("Axis", std::int64_t{1});
    EXPECT_TRUE(host.run(DOWNSAMPLE));
    EXPECT_THAT(host.dataset("x").extents(), ElementsAre(2, 2, 1));
    EXPECT_THAT(host.samples("x"), ElementsAre(0, 2, 0, 0));
}

TEST(Downsample, ReadsAndWritesLinesThenResizesThenWritesAttributes) {
    RecordingHost host;
    prepare_rates(host, {2, 4}, 20, 10);
    EXPECT_TRUE(host.run(DOWNSAMPLE));
    EXPECT_THAT(host.calls(),
                ElementsAre("root_group", "read_string_list SourceSets", "read_string SourceGroup",
                            "read_boolean ScanRecursive", "open_dataset / x", "dataset_is_valid x",
                            "read_string HintGroup", "read_string HintSet", "root_group",
                            "group_exists / Hint", "open_group / Hint",
                            "read_float_attribute Hint/ SampleRate", "read_integer Axis",
                            "read_float_attribute x SampleRate", "dataset_shape x",
                            "read_samples x [0,0|1,4]", "write_samples x [0,0|1,2]",
                            "read_samples x [1,0|1,4]", "write_samples x [1,0|1,2]",
                            "resize_dataset x [2,2]", "write_float_attribute x SampleRate 10",
                            "write_float_attribute x NumSamples 2", "read_string SourceGroup",
                            "read_boolean ScanRecursive"));
}

TEST(Downsample, UpdatesTheSourceGroupEvenWithNothingInIt) {
    RecordingHost host;
    host.group("Imu").attribute_float("SampleRate", 30).attribute_integer("NumSamples", 100);
    host.group("Hint").attribute_float("SampleRate", 10);
    host.set_parameter("SourceGroup", "Imu");
    host.set_parameter("HintGroup", "Hint");
    EXPECT_TRUE(host.run(DOWNSAMPLE));
    Group& group = host.group("Imu");
    EXPECT_EQ(group.attribute<float>("SampleRate"), 10.0F);
    EXPECT_EQ(group.attribute<float>("NumSamples"), 33.0F);
    EXPECT_EQ(group.attributes().at("SampleRate").written_by_slot, 21);
    EXPECT_EQ(group.attributes().at("NumSamples").written_by_slot, 21);
}

TEST(Downsample, LeavesAGroupWithoutARateAlone) {
    RecordingHost host;
    host.group("Imu").attribute_integer("NumSamples", 100);
    host.group("Hint").attribute_float("SampleRate", 10);
    host.set_parameter("SourceGroup", "Imu");
    host.set_parameter("HintGroup", "Hint");
    EXPECT_TRUE(host.run(DOWNSAMPLE));
    EXPECT_EQ(host.group("Imu").attribute<std::int64_t>("NumSamples"), 100);
    EXPECT_FALSE(host.group("Imu").has_attribute("SampleRate"));
}

TEST(Downsample, UpdatesTheGroupsBelowAfterTheirParentWhenRecursive) {
    RecordingHost host;
    host.group("Imu").attribute_float("SampleRate", 20);
    host.group("Imu/Left").attribute_float("SampleRate", 40).attribute_integer("NumSamples", 8);
    host.group("Imu/Left/Foot").attribute_float("SampleRate", 40);
    host.group("Imu/Right").attribute_integer("NumSamples", 8);
    host.group("Hint").attribute_float("SampleRate", 10);
    host.set_parameter("SourceGroup", "Imu");
    host.set_parameter("HintGroup", "Hint");
    host.set_parameter("ScanRecursive", true);
    EXPECT_TRUE(host.run(DOWNSAMPLE));
    EXPECT_THAT(host.calls_of({"write_float_attribute", "list_groups", "read_integer_attribute"}),
                ElementsAre("write_float_attribute Imu/ SampleRate 10", "list_groups Imu/",
                            "write_float_attribute Imu/Left/ SampleRate 10",
                            "read_integer_attribute Imu/Left/ NumSamples",
                            "write_float_attribute Imu/Left/ NumSamples 2", "list_groups Imu/Left/",
                            "write_float_attribute Imu/Left/Foot/ SampleRate 10",
                            "list_groups Imu/Left/Foot/", "list_groups Imu/Right/"));
}

TEST(Downsample, LeavesTheGroupsBelowAloneOtherwise) {
    RecordingHost host;
    host.group("Imu").attribute_float("SampleRate", 20);
    host.group("Imu/Left").attribute_float("SampleRate", 40);
    host.group("Hint").attribute_float("SampleRate", 10);
    host.set_parameter("SourceGroup", "Imu");
    host.set_parameter("HintGroup", "Hint");
    EXPECT_TRUE(host.run(DOWNSAMPLE));
    EXPECT_EQ(host.group("Imu/Left").attribute<float>("SampleRate"), 40.0F);
    EXPECT_THAT(host.calls_of({"list_groups"}), IsEmpty());
}

TEST(Downsample, ChangesNoGroupWithoutASourceGroup) {
    RecordingHost host;
    prepare_rates(host, {4}, 20, 10);
    host.set_parameter("ScanRecursive", true);
    EXPECT_TRUE(host.run(DOWNSAMPLE));
    EXPECT_THAT(host.calls_of({"has_attribute", "list_groups"}), IsEmpty());
}

// Single precision: 2^24 + 1 samples count as 2^24, and 1/3 of 9 is exactly 3.
TEST(Downsample, ScalesTheSampleCountInSinglePrecision) {
    RecordingHost host;
    host.group("a").attribute_float("SampleRate", 20).attribute_integer("NumSamples", 16777217);
    host.group("b").attribute_float("SampleRate", 30).attribute_integer("NumSamples", 9);
    host.group("Hint").attribute_float("SampleRate", 10);
    host.set_parameter("HintGroup", "Hint");
    for (const char* name : {"a", "b"}) {
        host.set_parameter("SourceGroup", name);
        EXPECT_TRUE(host.run(DOWNSAMPLE));
    }
    EXPECT_EQ(host.group("a").attribute<float>("NumSamples"), 8388608.0F);
    EXPECT_EQ(host.group("b").attribute<float>("NumSamples"), 3.0F);
}

// 10 / 0 times a count is infinite, times no samples NaN; a rate of NaN stays NaN.
TEST(Downsample, MakesTheSmallestIntegerOfACountThatCannotBe) {
    for (const auto& [rate, count] : {std::pair{0.0F, 5}, std::pair{0.0F, 0}, std::pair{NaN, 5}}) {
        RecordingHost host;
        host.group("Imu")
            .attribute_float("SampleRate", rate)
            .attribute_integer("NumSamples", count);
        host.group("Hint").attribute_float("SampleRate", 10);
        host.set_parameter("SourceGroup", "Imu");
        host.set_parameter("HintGroup", "Hint");
        EXPECT_TRUE(host.run(DOWNSAMPLE));
        EXPECT_EQ(host.group("Imu").attribute<float>("NumSamples"), -9223372036854775808.0F);
    }
}

TEST(Downsample, ResizesASetWithoutSamples) {
    RecordingHost host;
    prepare_rates(host, {3, 0}, 20, 10);
    EXPECT_TRUE(host.run(DOWNSAMPLE));
    EXPECT_THAT(host.dataset("x").extents(), ElementsAre(3, 0));
    EXPECT_EQ(host.dataset("x").attribute<float>("NumSamples"), 0.0F);
}

TEST(Downsample, FailsWithoutASource) {
    RecordingHost host;
    EXPECT_FALSE(host.run(DOWNSAMPLE));
    EXPECT_THAT(host.message_texts(),
                ElementsAre("context error: No source found to get data set(s)"));
}

TEST(Downsample, DoesTheSameUnderItsLegacyIdentifier) {
    RecordingHost host;
    prepare_rates(host, {10}, 90, 30);
    EXPECT_TRUE(host.run(LEGACY_DOWNSAMPLE));
    EXPECT_THAT(host.samples("x"), ElementsAre(0, 3, 6));
}

} // namespace
} // namespace talvora::test_support
