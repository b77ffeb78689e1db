#include "tests/units/aggregation_host.h"
#include "tests/units/sample_patterns.h"

#include <gmock/gmock.h>

namespace talvora::test_support {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class AverageSet : public testing::Test {
  protected:
    AverageSet() { choose_places(host); }

    void choose_axis(std::int64_t axis) { host.set_parameter("Axis", ParameterValue(axis)); }

    bool run() { return host.run(AVERAGE_SET); }

    float average(const std::vector<float>& samples) {
        host.dataset("Imu/a", {1, 1, samples.size()}, samples);
        EXPECT_TRUE(run());
        return host.samples("Out/a").at(0);
    }

    RecordingHost host;
};

TEST_F(AverageSet, DeclaresItsParametersInOrder) {
    const DeclareOutcome outcome = host.declare(AVERAGE_SET, 0x100000007);
    EXPECT_THAT(outcome.declarations, ElementsAre(Declaration{"SourceGroup: string", 1},
                                                  Declaration{"DestinationGroup: string", 1},
                                                  Declaration{"NamesFilter: list(string)", 0},
                                                  Declaration{"MetricFilter: string", 0},
                                                  Declaration{"Axis: integer = -1", 0}));
    EXPECT_EQ(outcome.result, 0x10000000BU);
}

TEST_F(AverageSet, WritesTheMeanOfEachLineOfTheLastDimension) {
    host.dataset("Imu/a", {3, 1, 100}, count_up(300));
    EXPECT_TRUE(run());
    EXPECT_EQ(host.dataset("Out/a").extents(), (std::vector<std::uint64_t>{3, 1, 1}));
    EXPECT_THAT(host.samples("Out/a"), ElementsAre(49.5F, 149.5F, 249.5F));
    EXPECT_THAT(host.message_texts(), IsEmpty());
}

TEST_F(AverageSet, TakesAnyNegativeAxisForTheLast) {
    host.dataset("Imu/a", {2, 1, 4}, count_up(8));
    choose_axis(-5);
    EXPECT_TRUE(run());
    EXPECT_THAT(host.samples("Out/a"), ElementsAre(1.5F, 5.5F));
}

TEST_F(AverageSet, AveragesAlongTheFirstDimension) {
    host.dataset("Imu/a", {3, 1, 4}, count_up(12));
    choose_axis(0);
    EXPECT_TRUE(run());
    EXPECT_EQ(host.dataset("Out/a").extents(), (std::vector<std::uint64_t>{1, 1, 4}));
    EXPECT_THAT(host.samples("Out/a"), ElementsAre(4, 5, 6, 7));
}

TEST_F(AverageSet, AveragesAlongTheMiddleDimension) {
    host.dataset("Imu/a", {2, 3, 2}, count_up(12));
    choose_axis(1);
    EXPECT_TRUE(run());
    EXPECT_EQ(host.dataset("Out/a").extents(), (std::vector<std::uint64_t>{2, 1, 2}));
    EXPECT_THAT(host.samples("Out/a"), ElementsAre(2, 3, 8, 9));
}

TEST_F(AverageSet, AsksTheHostInOrder) {
    host.dataset("Imu/a", {2, 2, 3}, count_up(12))
        .attribute_float("SampleRate", 100)
        .attribute_text("Unit", "N");
    EXPECT_TRUE(run());
    EXPECT_EQ(join(host.calls()), R"(root_group
read_string SourceGroup
open_group / Imu
group_is_valid Imu/
read_string DestinationGroup
group_exists / Out
create_group / Out
group_is_valid Out/
read_string_list NamesFilter
read_string MetricFilter
read_integer Axis
list_datasets Imu/
open_dataset Imu/ a
dataset_is_valid Imu/a
dataset_shape Imu/a
dataset_exists Out/ a
dataset_shape Imu/a
dataset_exists Out/ a
create_dataset Out/ a [2,2,1]
dataset_is_valid Out/a
read_samples Imu/a [0,0,0|1,1,3]
write_samples Out/a [0,0,0|1,1,1]
list_attributes Imu/a
copy_attribute Out/a Imu/a SampleRate
copy_attribute Out/a Imu/a Unit
read_samples Imu/a [1,0,0|1,1,3]
write_samples Out/a [1,0,0|1,1,1]
list_attributes Imu/a
copy_attribute Out/a Imu/a SampleRate
copy_attribute Out/a Imu/a Unit
read_samples Imu/a [0,1,0|1,1,3]
write_samples Out/a [0,1,0|1,1,1]
list_attributes Imu/a
copy_attribute Out/a Imu/a SampleRate
copy_attribute Out/a Imu/a Unit
read_samples Imu/a [1,1,0|1,1,3]
write_samples Out/a [1,1,0|1,1,1]
list_attributes Imu/a
copy_attribute Out/a Imu/a SampleRate
copy_attribute Out/a Imu/a Unit
read_string_attribute Imu/a MetricType
write_float_attribute Out/a SampleRate -nan
write_float_attribute Out/a StartTime -nan
write_string_attribute Out/a MetricType Unknown
)");
}

TEST_F(AverageSet, CopiesAttributesButForTheTimeBase) {
    host.dataset("Imu/a", {1, 1, 2}, {1, 2})
        .attribute_float("SampleRate", 100)
        .attribute_float("StartTime", 2)
        .attribute_number("Gain", 0.1)
        .attribute_integer("Channel", 7)
        .attribute_text("MetricType", "Angle");
    EXPECT_TRUE(run());
    const DataSet& mean = host.dataset("Out/a");
    EXPECT_THAT(mean.attribute_names(),
                ElementsAre("Channel", "Gain", "MetricType", "SampleRate", "StartTime"));
    EXPECT_EQ(mean.attribute<double>("Gain"), 0.1);
    EXPECT_EQ(mean.attribute<std::int64_t>("Channel"), 7);
    EXPECT_EQ(mean.attribute<std::string>("MetricType"), "Angle");
    EXPECT_EQ(bits(mean.attribute<float>("SampleRate")), MISSING_BITS);
    EXPECT_EQ(bits(mean.attribute<float>("StartTime")), MISSING_BITS);
}

TEST_F(AverageSet, CallsAMetricThatIsAbsentOrEmptyUnknown) {
    host.dataset("Imu/a", {1, 1, 2}, {1, 2});
    host.dataset("Imu/b", {1, 1, 2}, {1, 2}).attribute_text("MetricType", "");
    EXPECT_TRUE(run());
    EXPECT_EQ(host.dataset("Out/a").attribute<std::string>("MetricType"), "Unknown");
    EXPECT_EQ(host.dataset("Out/b").attribute<std::string>("MetricType"), "Unknown");
}

TEST_F(AverageSet, TakesTheLengthOfTheMetricFromTheText) {
    host.habits().noise_in_text_counts = true;
    host.dataset("Imu/a", {1, 1, 2}, {1, 2}).attribute_text("MetricType", "");
    EXPECT_TRUE(run());
    EXPECT_EQ(host.dataset("Out/a").attribute<std::string>("MetricType"), "Unknown");
}

TEST_F(AverageSet, IsMissingWithOneNaN) {
    EXPECT_EQ(bits(average({1, NaN, 3})), MISSING_BITS);
}

TEST_F(AverageSet, FollowsInfinities) {
    EXPECT_EQ(average({1, -INF, 3}), -INF);
}

TEST_F(AverageSet, OfInfinitiesOfBothSignsIsMissing) {
    EXPECT_EQ(bits(average({INF, -INF})), MISSING_BITS);
}

TEST_F(AverageSet, OfZerosOfBothSignsIsZero) {
    EXPECT_EQ(bits(average({0.0F, -0.0F})), 0U);
}

TEST_F(AverageSet, OfNegativeZerosIsNegativeZero) {
    EXPECT_EQ(bits(average({-0.0F, -0.0F, -0.0F})), 0x80000000U);
}

TEST_F(AverageSet, IsMissingWhereTheHostReadsNothing) {
    host.habits().ignores_reads = true;
    EXPECT_EQ(bits(average({1, 2, 3})), MISSING_BITS);
}

TEST_F(AverageSet, OfNoSamplesIsMissing) {
    host.dataset("Imu/a", {2, 1, 0}, {});
    EXPECT_TRUE(run());
    EXPECT_THAT(as_bits(host.samples("Out/a")), ElementsAre(MISSING_BITS, MISSING_BITS));
}

TEST_F(AverageSet, MarksASetWithoutLines) {
    host.dataset("Imu/a", {0, 2, 3}, {}).attribute_text("Unit", "N");
    EXPECT_TRUE(run());
    EXPECT_THAT(host.calls_of({"read_samples", "write_samples", "copy_attribute"}), IsEmpty());
    EXPECT_THAT(host.dataset("Out/a").attribute_names(),
                ElementsAre("MetricType", "SampleRate", "StartTime"));
}

TEST_F(AverageSet, ReportsAnAxisOutOfRangeAndGoesOnWithoutASet) {
    host.dataset("Imu/a", {2, 1, 3}, count_up(6));
    host.dataset("Imu/b", {2, 1, 3}, count_up(6));
    choose_axis(3);
    EXPECT_FALSE(run());
    EXPECT_THAT(host.message_texts(),
                ElementsAre("context error: The source set 'a' cannot be processed because the "
                            "axis to use is out of range (axis = 3, # dims = 3)",
                            "context error: The source set 'b' cannot be processed because the "
                            "axis to use is out of range (axis = 3, # dims = 3)"));
    EXPECT_THAT(find_changes(host), IsEmpty());
}

TEST_F(AverageSet, ShowsAnAxisOutOfRangeAtItsFullWidth) {
    host.dataset("Imu/a", {1, 1, 1}, {0});
    choose_axis(std::int64_t{1} << 32U);
    EXPECT_FALSE(run());
    EXPECT_THAT(host.message_texts(),
                ElementsAre("context error: The source set 'a' cannot be processed because the "
                            "axis to use is out of range (axis = 4294967296, # dims = 3)"));
}

TEST_F(AverageSet, AlsoReportsADestinationThatExistsForAnAxisOutOfRange) {
    host.dataset("Imu/a", {1, 1, 1}, {0});
    host.dataset("Out/a", {1, 1, 1}, {8});
    choose_axis(4);
    EXPECT_FALSE(run());
    EXPECT_THAT(host.message_texts(),
                ElementsAre("context error: The source set 'a' cannot be processed because the "
                            "axis to use is out of range (axis = 4, # dims = 3)",
                            "context error: The destination set 'a' already exists in the group "
                            "'Out' and cannot be overwritten"));
    EXPECT_THAT(find_changes(host), IsEmpty());
}

TEST_F(AverageSet, ReportsADestinationThatExistsAndThatTheHostRefuses) {
    host.dataset("Imu/a", {1, 1, 2}, {1, 2});
    host.dataset("Imu/b", {1, 1, 2}, {3, 5});
    host.dataset("Out/a", {1, 1, 1}, {8});
    EXPECT_FALSE(run());
    EXPECT_THAT(host.message_texts(),
                ElementsAre("context error: The destination set 'a' already exists in the group "
                            "'Out' and cannot be overwritten",
                            "context error: Could not create the 'a' destination set due to an "
                            "internal error."));
    EXPECT_THAT(host.samples("Out/a"), ElementsAre(8));
    EXPECT_THAT(host.samples("Out/b"), ElementsAre(4));
}

TEST_F(AverageSet, FailsOverADestinationThatExistsThoughTheHostHandsItOut) {
    host.habits().creation_opens_existing = true;
    host.dataset("Imu/a", {1, 1, 2}, {1, 2});
    host.dataset("Out/a", {1, 1, 1}, {8});
    EXPECT_FALSE(run());
    EXPECT_THAT(host.message_texts(),
                ElementsAre("context error: The destination set 'a' already exists in the group "
                            "'Out' and cannot be overwritten"));
    EXPECT_THAT(host.calls(), Contains("create_dataset Out/ a [1,1,1]"));
    EXPECT_THAT(host.samples("Out/a"), ElementsAre(1.5F));
}

TEST_F(AverageSet, GoesOnAfterASetThatCannotBeCreated) {
    host.dataset("Imu/a", {1, 1, 2}, {1, 2});
    host.dataset("Imu/b", {1, 1, 2}, {3, 5});
    host.refuse_creation("Out/a");
    EXPECT_FALSE(run());
    EXPECT_THAT(host.message_texts(), ElementsAre("context error: Could not create the 'a' "
                                                  "destination set due to an internal error."));
    EXPECT_THAT(host.calls(), Not(Contains("read_samples Imu/a [0,0,0|1,1,2]")));
    EXPECT_THAT(host.samples("Out/b"), ElementsAre(4));
}

TEST_F(AverageSet, FindsTheDestinationTakenByANameGivenTwice) {
    host.dataset("Imu/a", {1, 1, 2}, {1, 2});
    host.set_parameter("NamesFilter", Texts{"a", "a"});
    EXPECT_FALSE(run());
    EXPECT_EQ(host.message_texts().size(), 2U);
    EXPECT_THAT(host.samples("Out/a"), ElementsAre(1.5F));
}

} // namespace
} // namespace talvora::test_support
