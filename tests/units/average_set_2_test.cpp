#include "tests/units/aggregation_host.h"

#include <gmock/gmock.h>

#include <new>

namespace talvora::test_support {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class AverageSet2 : public testing::Test {
  protected:
    AverageSet2() { choose_places(host); }

    bool run() { return host.run(AVERAGE_SET_2); }

    // Two components of two samples, with the means `first` and `second`.
    DataSet& add_set(const std::string& path, float first = 1, float second = 2) {
        return host.dataset(path, {2, 1, 2}, {first - 1, first + 1, second - 2, second + 2});
    }

    const Texts& labels() { return host.dataset("Out").attribute<TextList>("Labels").values; }

    RecordingHost host;
};

TEST_F(AverageSet2, DeclaresItsParametersInOrder) {
    const DeclareOutcome outcome = host.declare(AVERAGE_SET_2, 0x100000007);
    EXPECT_THAT(outcome.declarations, ElementsAre(Declaration{"SourceGroup: string", 1},
                                                  Declaration{"DestinationSet: string", 1},
                                                  Declaration{"NamesFilter: list(string)", 0},
                                                  Declaration{"MetricFilter: string", 0},
                                                  Declaration{"TranslationMap: list(string)", 0}));
    EXPECT_EQ(outcome.result, 0x10000000BU);
}

TEST_F(AverageSet2, GathersTheMeansOfEachSourceInAColumn) {
    add_set("Imu/a", 1, 2);
    add_set("Imu/b", 30, 40);
    add_set("Imu/c", 500, 600);
    EXPECT_TRUE(run());
    EXPECT_EQ(host.dataset("Out").extents(), (std::vector<std::uint64_t>{2, 3, 1}));
    EXPECT_THAT(host.samples("Out"), ElementsAre(1, 30, 500, 2, 40, 600));
    EXPECT_THAT(host.message_texts(), IsEmpty());
}

TEST_F(AverageSet2, AsksTheHostInOrder) {
    add_set("Imu/a").attribute_text("MetricType", "Angle");
    add_set("Imu/b").attribute_text("MetricType", "Angle");
    host.set_parameter("MetricFilter", "Angle");
    host.set_parameter("TranslationMap", Texts{"left", "a"});
    EXPECT_TRUE(run());
    EXPECT_EQ(join(host.calls()), R"(root_group
read_string SourceGroup
open_group / Imu
group_is_valid Imu/
read_string_list NamesFilter
read_string MetricFilter
read_string_list TranslationMap
list_datasets Imu/
open_dataset Imu/ a
dataset_is_valid Imu/a
has_attribute Imu/a MetricType
read_string_attribute Imu/a MetricType
open_dataset Imu/ b
dataset_is_valid Imu/b
has_attribute Imu/b MetricType
read_string_attribute Imu/b MetricType
dataset_shape Imu/a
dataset_shape Imu/b
read_string DestinationSet
dataset_exists / Out
create_dataset / Out [2,2,1]
dataset_is_valid Out
read_samples Imu/a [0,0,0|2,1,2]
write_samples Out [0,0,0|2,1,1]
read_samples Imu/b [0,0,0|2,1,2]
write_samples Out [0,1,0|2,1,1]
warning: Source data set name 'b' not found in provided translation map. Will resort to using this name as the destination label.
write_string_list_attribute Out Labels [2]
)");
}

TEST_F(AverageSet2, WritesTheLabelsAndNoOtherAttribute) {
    add_set("Imu/a").attribute_float("SampleRate", 100).attribute_text("MetricType", "Angle");
    EXPECT_TRUE(run());
    EXPECT_THAT(host.dataset("Out").attribute_names(), ElementsAre("Labels"));
    EXPECT_EQ(host.dataset("Out").attribute<TextList>("Labels"), (TextList{{"a"}, {1}}));
}

TEST_F(AverageSet2, LabelsColumnsWithTheSourcesNames) {
    add_set("Imu/a");
    add_set("Imu/b");
    host.set_parameter("TranslationMap", Texts{});
    EXPECT_TRUE(run());
    EXPECT_THAT(labels(), ElementsAre("a", "b"));
    EXPECT_THAT(host.message_texts(), IsEmpty());
}

TEST_F(AverageSet2, LabelsColumnsByTheMap) {
    add_set("Imu/a", 1, 2);
    add_set("Imu/b", 3, 4);
    host.set_parameter("TranslationMap", Texts{"left", "a", "right", "b"});
    EXPECT_TRUE(run());
    EXPECT_THAT(labels(), ElementsAre("left", "right"));
    EXPECT_THAT(host.samples("Out"), ElementsAre(1, 3, 2, 4));
    EXPECT_THAT(host.message_texts(), IsEmpty());
}

TEST_F(AverageSet2, OpensASetByItsLabelAndThenFindsNoLabelForIt) {
    add_set("Imu/a");
    host.set_parameter("NamesFilter", Texts{"left"});
    host.set_parameter("TranslationMap", Texts{"left", "a"});
    EXPECT_TRUE(run());
    EXPECT_THAT(host.calls(), Contains("open_dataset Imu/ a"));
    EXPECT_THAT(labels(), ElementsAre("left"));
    EXPECT_THAT(host.message_texts(),
                ElementsAre("warning: Source data set name 'left' not found in provided "
                            "translation map. Will resort to using this name as the destination "
                            "label."));
}

TEST_F(AverageSet2, WarnsOfAMappedSetThatIsMissingUnderTheNameAskedFor) {
    add_set("Imu/a");
    host.set_parameter("NamesFilter", Texts{"left", "a"});
    host.set_parameter("TranslationMap", Texts{"left", "absent"});
    EXPECT_TRUE(run());
    EXPECT_EQ(host.message_texts().at(0), "warning: No data set 'left' found");
    EXPECT_THAT(host.calls(), Contains("open_dataset Imu/ absent"));
}

TEST_F(AverageSet2, TakesTheFirstOfTwoPairsWithTheSameSource) {
    add_set("Imu/a");
    host.set_parameter("TranslationMap", Texts{"first", "a", "second", "a"});
    EXPECT_TRUE(run());
    EXPECT_THAT(labels(), ElementsAre("first"));
}

TEST_F(AverageSet2, TakesTheFirstOfTwoPairsWithTheSameLabel) {
    add_set("Imu/a", 1, 2);
    add_set("Imu/b", 3, 4);
    host.set_parameter("NamesFilter", Texts{"both"});
    host.set_parameter("TranslationMap", Texts{"both", "b", "both", "a"});
    EXPECT_TRUE(run());
    EXPECT_THAT(host.samples("Out"), ElementsAre(3, 4));
}

TEST_F(AverageSet2, TellsNamesInTheMapApartByCase) {
    add_set("Imu/a");
    host.set_parameter("TranslationMap", Texts{"left", "A"});
    EXPECT_TRUE(run());
    EXPECT_THAT(labels(), ElementsAre("a"));
    EXPECT_EQ(host.messages().size(), 1U);
}

TEST_F(AverageSet2, RefusesAnOddMapBeforeItLists) {
    add_set("Imu/a");
    host.set_parameter("TranslationMap", Texts{"left", "a", "right"});
    EXPECT_FALSE(run());
    EXPECT_THAT(host.message_texts(),
                ElementsAre("context error: Invalid translation map not having an even number of "
                            "elements"));
    EXPECT_THAT(host.calls_of({"list_datasets"}), IsEmpty());
}

TEST_F(AverageSet2, SucceedsWithAWarningWithoutASource) {
    host.group("Imu");
    EXPECT_TRUE(run());
    EXPECT_THAT(host.message_texts(),
                ElementsAre("warning: No source sets found matching the specified filters. "
                            "Aborting operation."));
    EXPECT_THAT(host.calls(), Not(Contains("read_string DestinationSet")));
    EXPECT_FALSE(host.has_dataset("Out"));
}

TEST_F(AverageSet2, ReportsEveryShapeBeforeItFails) {
    host.dataset("Imu/wide", {3, 2, 5}, std::vector<float>(30));
    host.dataset("Imu/first", {3, 1, 5}, std::vector<float>(15));
    host.dataset("Imu/longer", {3, 1, 6}, std::vector<float>(18));
    host.dataset("Imu/flat", {3, 5}, std::vector<float>(15));
    host.dataset("Imu/same", {3, 1, 5}, std::vector<float>(15));
    host.dataset("Imu/fewer", {2, 1, 5}, std::vector<float>(10));
    EXPECT_FALSE(run());
    EXPECT_THAT(
        host.message_texts(),
        ElementsAre(
            "context error: Shape for data set wide did not have a second dimension of value 1.",
            "context error: Shape for data set longer differed from the first one found.",
            "context error: Shape for data set flat did not contain 3 elements.",
            "context error: Shape for data set fewer differed from the first one found."));
    EXPECT_THAT(host.calls(), Not(Contains("read_string DestinationSet")));
    EXPECT_THAT(find_changes(host), IsEmpty());
}

TEST_F(AverageSet2, WritesOverADestinationThatFits) {
    add_set("Imu/a", 1, 2);
    add_set("Imu/b", 3, 4);
    host.dataset("Out", {2, 2, 1}, {9, 9, 9, 9});
    EXPECT_TRUE(run());
    EXPECT_THAT(host.samples("Out"), ElementsAre(1, 3, 2, 4));
    EXPECT_THAT(host.calls_of({"create_dataset"}), IsEmpty());
    EXPECT_THAT(labels(), ElementsAre("a", "b"));
}

TEST_F(AverageSet2, RefusesItsOwnDestinationOnceThereAreMoreSources) {
    add_set("Imu/a");
    EXPECT_TRUE(run());
    add_set("Imu/b");
    EXPECT_FALSE(run());
    EXPECT_THAT(host.message_texts(),
                ElementsAre("context error: Existing 'Out' destination set did not have a "
                            "compatible shape for the requested calculation."));
    EXPECT_THAT(host.samples("Out"), ElementsAre(1, 2));
}

class ExistingDestination : public testing::TestWithParam<std::vector<std::uint64_t>> {};

INSTANTIATE_TEST_SUITE_P(
    Shapes, ExistingDestination,
    testing::Values(std::vector<std::uint64_t>{1, 1, 1}, std::vector<std::uint64_t>{2, 2, 1},
                    std::vector<std::uint64_t>{2, 1, 2}, std::vector<std::uint64_t>{2, 1},
                    std::vector<std::uint64_t>{2, 1, 1, 1}, std::vector<std::uint64_t>{}));

TEST_P(ExistingDestination, OfAnotherShapeIsRefusedUntouched) {
    RecordingHost host;
    choose_places(host);
    std::uint64_t count = GetParam().empty() ? 0 : 1;
    for (const std::uint64_t extent : GetParam()) {
        count *= extent;
    }
    host.dataset("Imu/a", {2, 1, 2}, {1, 2, 3, 4});
    host.dataset("Out", GetParam(), std::vector<float>(count, 9));
    EXPECT_FALSE(host.run(AVERAGE_SET_2));
    EXPECT_THAT(host.message_texts(),
                ElementsAre("context error: Existing 'Out' destination set did not have a "
                            "compatible shape for the requested calculation."));
    EXPECT_THAT(find_changes(host), IsEmpty());
}

TEST_F(AverageSet2, ReportsADestinationThatCannotBeCreated) {
    add_set("Imu/a");
    host.refuse_creation("Out");
    EXPECT_FALSE(run());
    EXPECT_THAT(host.message_texts(),
                ElementsAre("context error: Could not create the 'Out' destination set due to an "
                            "internal error."));
    EXPECT_THAT(host.calls_of({"read_samples"}), IsEmpty());
}

TEST_F(AverageSet2, LooksForTheDestinationBelowTheRoot) {
    add_set("Imu/a");
    host.dataset("Imu/Out", {7, 1, 1}, std::vector<float>(7)).attribute_text("MetricType", "Other");
    host.set_parameter("NamesFilter", Texts{"a"});
    EXPECT_TRUE(run());
    EXPECT_TRUE(host.has_dataset("Out"));
}

TEST_F(AverageSet2, WritesTwoColumnsForANameGivenTwice) {
    add_set("Imu/a", 1, 2);
    host.set_parameter("NamesFilter", Texts{"a", "a"});
    EXPECT_TRUE(run());
    EXPECT_THAT(host.samples("Out"), ElementsAre(1, 1, 2, 2));
    EXPECT_THAT(labels(), ElementsAre("a", "a"));
}

TEST_F(AverageSet2, LosesOnlyTheComponentWithANaN) {
    host.dataset("Imu/a", {4, 1, 2}, {1, NaN, 3, 5, INF, 1, INF, -INF});
    EXPECT_TRUE(run());
    EXPECT_THAT(as_bits(host.samples("Out")),
                ElementsAre(MISSING_BITS, bits(4.0F), bits(INF), MISSING_BITS));
}

TEST_F(AverageSet2, OfNoSamplesIsMissing) {
    host.dataset("Imu/a", {2, 1, 0}, {});
    EXPECT_TRUE(run());
    EXPECT_THAT(as_bits(host.samples("Out")), ElementsAre(MISSING_BITS, MISSING_BITS));
}

TEST_F(AverageSet2, LabelsADestinationWithoutComponents) {
    host.dataset("Imu/a", {0, 1, 3}, {});
    EXPECT_TRUE(run());
    EXPECT_EQ(host.dataset("Out").extents(), (std::vector<std::uint64_t>{0, 1, 1}));
    EXPECT_THAT(labels(), ElementsAre("a"));
}

TEST_F(AverageSet2, FailsToAllocateMoreSamplesThanCanBeCounted) {
    // 2 x 2^63 samples come to 0 in 64 bits.
    host.dataset("Imu/a", {2, 1, std::uint64_t{1} << 63U}, {});
    EXPECT_THROW(run(), std::bad_array_new_length);
    EXPECT_THAT(host.calls_of({"read_samples"}), IsEmpty());
}

} // namespace
} // namespace talvora::test_support
