#include "tests/units/aggregation_host.h"

#include <gmock/gmock.h>

#include <ostream>

namespace talvora::test_support {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MaximumExtrema : public testing::Test {
  protected:
    MaximumExtrema() { choose_places(host); }

    bool run() { return host.run(MAXIMUM_EXTREMA); }

    // The maximum written for one line of samples, over an old value or none.
    float extract(const std::vector<float>& samples) {
        host.dataset("Imu/a", {1, 1, samples.size()}, samples);
        EXPECT_TRUE(run());
        return host.samples("Out/a").at(0);
    }

    RecordingHost host;
};

TEST_F(MaximumExtrema, DeclaresItsParametersInOrder) {
    const DeclareOutcome outcome = host.declare(MAXIMUM_EXTREMA, 0x100000007);
    EXPECT_THAT(outcome.declarations,
                ElementsAre(Declaration{"SourceGroup: string", 1},
                            Declaration{"DestinationGroup: string", 1},
                            Declaration{"NamesFilter: list(string)", 0},
                            Declaration{"MetricFilter: string", 0},
                            Declaration{"OverwriteIfGreater: boolean = false", 0}));
    EXPECT_EQ(outcome.result, 0x10000000BU);
}

TEST_F(MaximumExtrema, WritesTheMaximumOfEveryPosition) {
    host.dataset("Imu/a", {2, 3, 2}, {0, 1, 3, 2, -4, -5, 6, 6, 7, 8, 10, 9});
    EXPECT_TRUE(run());
    EXPECT_EQ(host.dataset("Out/a").extents(), (std::vector<std::uint64_t>{2, 3, 1}));
    EXPECT_THAT(host.samples("Out/a"), ElementsAre(1, 3, -4, 6, 8, 10));
    EXPECT_THAT(host.message_texts(), IsEmpty());
}

TEST_F(MaximumExtrema, AsksTheHostInOrder) {
    host.dataset("Imu/a", {2, 2, 3}, std::vector<float>(12, 1))
        .attribute_text("MetricType", "Angle");
    host.set_parameter("MetricFilter", "Angle");
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
read_boolean OverwriteIfGreater
list_datasets Imu/
open_dataset Imu/ a
dataset_is_valid Imu/a
has_attribute Imu/a MetricType
read_string_attribute Imu/a MetricType
dataset_shape Imu/a
dataset_exists Out/ a
dataset_shape Imu/a
dataset_exists Out/ a
create_dataset Out/ a [2,2,1]
dataset_is_valid Out/a
read_samples Imu/a [0,0,0|1,1,3]
write_samples Out/a [0,0,0|1,1,1]
read_samples Imu/a [0,1,0|1,1,3]
write_samples Out/a [0,1,0|1,1,1]
read_samples Imu/a [1,0,0|1,1,3]
write_samples Out/a [1,0,0|1,1,1]
read_samples Imu/a [1,1,0|1,1,3]
write_samples Out/a [1,1,0|1,1,1]
write_string_attribute Out/a MetricType Feature
write_string_attribute Out/a FeatureType MaximumExtrema
)");
}

TEST_F(MaximumExtrema, AsksForTheOldValueBetweenReadingAndWriting) {
    host.dataset("Imu/a", {1, 2, 3}, std::vector<float>(6, 1));
    host.dataset("Out/a", {1, 2, 1}, {0, 0});
    host.set_parameter("OverwriteIfGreater", true);
    EXPECT_TRUE(run());
    EXPECT_EQ(join(host.calls_of({"open_dataset", "read_samples", "write_samples"})),
              R"(open_dataset Imu/ a
open_dataset Out/ a
open_dataset Out/ a
read_samples Imu/a [0,0,0|1,1,3]
read_samples Out/a [0,0,0|1,1,1]
write_samples Out/a [0,0,0|1,1,1]
read_samples Imu/a [0,1,0|1,1,3]
read_samples Out/a [0,1,0|1,1,1]
write_samples Out/a [0,1,0|1,1,1]
)");
}

TEST_F(MaximumExtrema, MarksFeaturesAndCopiesNothing) {
    host.dataset("Imu/a", {1, 1, 2}, {1, 2})
        .attribute_float("SampleRate", 100)
        .attribute_float("StartTime", 2)
        .attribute_text("MetricType", "Angle");
    EXPECT_TRUE(run());
    const DataSet& feature = host.dataset("Out/a");
    EXPECT_THAT(feature.attribute_names(), ElementsAre("FeatureType", "MetricType"));
    EXPECT_EQ(feature.attribute<std::string>("MetricType"), "Feature");
    EXPECT_EQ(feature.attribute<std::string>("FeatureType"), "MaximumExtrema");
}

TEST_F(MaximumExtrema, PassesOverNaN) {
    EXPECT_EQ(extract({1, NaN, 3, 2}), 3.0F);
}

TEST_F(MaximumExtrema, OfNothingButNaNIsMissing) {
    EXPECT_EQ(bits(extract({NaN, NaN})), MISSING_BITS);
}

TEST_F(MaximumExtrema, KnowsNegativeInfinityFromNothing) {
    EXPECT_EQ(extract({NaN, -INF}), -INF);
}

TEST_F(MaximumExtrema, TakesInfinityForTheGreatest) {
    EXPECT_EQ(extract({1e38F, INF, NaN}), INF);
}

TEST_F(MaximumExtrema, TakesTheFirstOfZerosOfBothSigns) {
    EXPECT_EQ(bits(extract({-1, -0.0F, 0.0F})), 0x80000000U);
}

TEST_F(MaximumExtrema, FindsTheMaximumAnywhereInALongLine) {
    std::vector<float> samples(1001, -2.0F);
    samples[1000] = -1.5F;
    EXPECT_EQ(extract(samples), -1.5F);
}

TEST_F(MaximumExtrema, OfNoSamplesIsMissing) {
    host.dataset("Imu/a", {2, 1, 0}, {});
    EXPECT_TRUE(run());
    EXPECT_THAT(as_bits(host.samples("Out/a")), ElementsAre(MISSING_BITS, MISSING_BITS));
}

TEST_F(MaximumExtrema, MarksASetWithoutPositions) {
    host.dataset("Imu/a", {0, 3, 2}, {});
    host.dataset("Imu/b", {std::uint64_t{1} << 60U, 0, 2}, {});
    EXPECT_TRUE(run());
    EXPECT_THAT(host.calls_of({"read_samples", "write_samples"}), IsEmpty());
    EXPECT_EQ(host.dataset("Out/a").attribute<std::string>("MetricType"), "Feature");
    EXPECT_EQ(host.dataset("Out/b").attribute<std::string>("FeatureType"), "MaximumExtrema");
}

TEST_F(MaximumExtrema, AllocatesNothingForASetWithoutPositions) {
    host.dataset("Imu/a", {3, 0, std::uint64_t{1} << 50U}, {});
    EXPECT_TRUE(run());
    EXPECT_THAT(host.calls_of({"write_string_attribute"}), ::testing::SizeIs(2));
}

TEST_F(MaximumExtrema, ReplacesOldValuesUnlessAskedToCompare) {
    host.dataset("Imu/a", {3, 1, 2}, {1, 2, 9, 8, NaN, NaN});
    host.dataset("Out/a", {3, 1, 1}, {5, 5, 5});
    EXPECT_TRUE(run());
    EXPECT_THAT(as_bits(host.samples("Out/a")), ElementsAre(bits(2.0F), bits(9.0F), MISSING_BITS));
    EXPECT_THAT(host.calls_of({"read_samples"}).size(), 3U);
}

TEST_F(MaximumExtrema, WritesWithoutComparingIntoASetThatItCreates) {
    host.dataset("Imu/a", {1, 1, 2}, {-7, -9});
    host.set_parameter("OverwriteIfGreater", true);
    EXPECT_TRUE(run());
    EXPECT_THAT(host.calls_of({"read_samples"}), ElementsAre("read_samples Imu/a [0,0,0|1,1,2]"));
    EXPECT_THAT(host.samples("Out/a"), ElementsAre(-7));
}

struct Comparison {
    float old_value;
    float new_value;
    std::uint32_t kept;
};

std::ostream& operator<<(std::ostream& out, const Comparison& comparison) {
    return out << "old " << comparison.old_value << ", new " << comparison.new_value;
}

class OverwriteIfGreater : public testing::TestWithParam<Comparison> {};

INSTANTIATE_TEST_SUITE_P(
    Values, OverwriteIfGreater,
    testing::Values(Comparison{5, 7, bits(7.0F)}, Comparison{5, 4, bits(5.0F)},
                    Comparison{5, 5, bits(5.0F)}, Comparison{5, NaN, bits(5.0F)},
                    Comparison{NaN, 7, bits(7.0F)}, Comparison{NaN, NaN, MISSING_BITS},
                    Comparison{NaN, -INF, bits(-INF)}, Comparison{-INF, NaN, bits(-INF)},
                    Comparison{-INF, -7, bits(-7.0F)}, Comparison{INF, 7, bits(INF)},
                    Comparison{-0.0F, 0.0F, bits(-0.0F)}, Comparison{0.0F, -0.0F, bits(0.0F)}));

TEST_P(OverwriteIfGreater, KeepsTheGreaterOfOldAndNew) {
    RecordingHost host;
    choose_places(host);
    host.set_parameter("OverwriteIfGreater", true);
    host.dataset("Imu/a", {1, 1, 1}, {GetParam().new_value});
    host.dataset("Out/a", {1, 1, 1}, {GetParam().old_value});
    EXPECT_TRUE(host.run(MAXIMUM_EXTREMA));
    EXPECT_EQ(bits(host.samples("Out/a")[0]), GetParam().kept);
}

TEST_F(MaximumExtrema, GathersMaximaOverRuns) {
    host.set_parameter("OverwriteIfGreater", true);
    host.dataset("Imu/a", {2, 1, 2}, {1, 2, 8, 9});
    EXPECT_TRUE(run());
    host.dataset("Next/a", {2, 1, 2}, {3, 0, 5, 6});
    host.set_parameter("SourceGroup", "Next");
    EXPECT_TRUE(run());
    EXPECT_THAT(host.samples("Out/a"), ElementsAre(3, 9));
}

TEST_F(MaximumExtrema, TakesANameGivenTwiceTwice) {
    host.dataset("Imu/a", {1, 1, 2}, {1, 2});
    host.set_parameter("NamesFilter", Texts{"a", "a"});
    EXPECT_TRUE(run());
    EXPECT_THAT(host.calls_of({"create_dataset", "write_samples"}),
                ElementsAre("create_dataset Out/ a [1,1,1]", "write_samples Out/a [0,0,0|1,1,1]",
                            "write_samples Out/a [0,0,0|1,1,1]"));
}

TEST_F(MaximumExtrema, PassesOverSetsThatCannotBeCreatedAndSucceeds) {
    host.dataset("Imu/a", {1, 1, 1}, {1});
    host.dataset("Imu/b", {1, 1, 1}, {2});
    host.dataset("Imu/c", {1, 1, 1}, {3});
    host.refuse_creation("Out/a");
    host.refuse_creation("Out/c");
    EXPECT_TRUE(run());
    EXPECT_THAT(host.message_texts(),
                ElementsAre("error: Could not create nor retrieve the a destination set due to an "
                            "internal error. It will be skipped.",
                            "error: Could not create nor retrieve the c destination set due to an "
                            "internal error. It will be skipped."));
    EXPECT_THAT(host.samples("Out/b"), ElementsAre(2));
}

// The shape is asked for when the sets are checked and once more when a set is worked on.
TEST_F(MaximumExtrema, PassesOverASetWhoseShapeIsRefusedAfterTheCheck) {
    host.dataset("Imu/a", {1, 1, 1}, {1});
    host.habits().shapes_left = 1;
    EXPECT_TRUE(run());
    EXPECT_THAT(host.message_texts(),
                ElementsAre("error: Could not create nor retrieve the a destination set due to an "
                            "internal error. It will be skipped."));
    EXPECT_EQ(host.calls_of({"create_dataset", "write_samples"}).size(), 0U);
}

} // namespace
} // namespace talvora::test_support
