// The choice of sources and the destination group, alike in the units that summarise
// sets: each claim is put to all units that it concerns.
#include "tests/support/unit_table.h"
#include "tests/units/aggregation_host.h"

#include <gmock/gmock.h>

namespace talvora::test_support {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class AggregationUnit : public testing::TestWithParam<const char*> {
  protected:
    AggregationUnit() { choose_places(host); }

    bool run() { return host.run(GetParam()); }

    DataSet& add_set(const std::string& path) { return host.dataset(path, {1, 1, 2}, {3, 5}); }

    // Sources of one line each are read once each.
    std::vector<std::string> selected() const {
        std::vector<std::string> names;
        for (const std::string& call : host.calls_of({"read_samples"})) {
            const std::string path = call.substr(call.find(' ') + 1);
            names.push_back(path.substr(0, path.find(' ')));
        }
        return names;
    }

    std::ptrdiff_t position_of(const std::string& call) const {
        return std::ranges::find(host.calls(), call) - host.calls().begin();
    }

    RecordingHost host;
};

// Makes its hosts itself.
class AggregationUnitOnNewHosts : public testing::TestWithParam<const char*> {};

class AggregationUnitWithGroup : public AggregationUnit {};

std::string name_unit(const testing::TestParamInfo<const char*>& info) {
    return as_test_name(info.param);
}

INSTANTIATE_TEST_SUITE_P(Units, AggregationUnit,
                         testing::Values(AVERAGE_SET, AVERAGE_SET_2, MAXIMUM_EXTREMA), name_unit);
INSTANTIATE_TEST_SUITE_P(Units, AggregationUnitOnNewHosts,
                         testing::Values(AVERAGE_SET, AVERAGE_SET_2, MAXIMUM_EXTREMA), name_unit);
INSTANTIATE_TEST_SUITE_P(Units, AggregationUnitWithGroup,
                         testing::Values(AVERAGE_SET, MAXIMUM_EXTREMA), name_unit);

TEST_P(AggregationUnit, FetchesTheTablesFromTheFirstToTheLast) {
    host.group("Imu");
    EXPECT_TRUE(run());
    EXPECT_THAT(host.interface_requests(), ElementsAre(4, 7, 8, 9));
}

TEST_P(AggregationUnit, ReportsASourceGroupThatIsNone) {
    EXPECT_FALSE(run());
    EXPECT_THAT(host.message_texts(),
                ElementsAre("context error: Invalid source group 'Imu' to find data set(s)"));
    EXPECT_FALSE(host.has_group("Out"));
    EXPECT_THAT(host.calls_of({"list_datasets"}), IsEmpty());
}

TEST_P(AggregationUnit, TakesEveryListedSetInTheHostsOrder) {
    add_set("Imu/Rate");
    add_set("Imu/Accel");
    add_set("Imu/Deeper/Force");
    add_set("Other/Force");
    EXPECT_TRUE(run());
    EXPECT_THAT(selected(), ElementsAre("Imu/Rate", "Imu/Accel"));
}

TEST_P(AggregationUnit, TakesTheNamedSetsInTheirOrder) {
    add_set("Imu/a");
    add_set("Imu/b");
    add_set("Imu/c");
    host.set_parameter("NamesFilter", Texts{"c", "a"});
    EXPECT_TRUE(run());
    EXPECT_THAT(selected(), ElementsAre("Imu/c", "Imu/a"));
}

TEST_P(AggregationUnit, ListsTheGroupBeforeItOpensANamedSet) {
    add_set("Imu/a");
    host.set_parameter("NamesFilter", Texts{"a"});
    EXPECT_TRUE(run());
    EXPECT_LT(position_of("list_datasets Imu/"), position_of("open_dataset Imu/ a"));
}

TEST_P(AggregationUnit, TakesEverySetWithAnEmptyListOfNames) {
    add_set("Imu/a");
    host.set_parameter("NamesFilter", Texts{});
    EXPECT_TRUE(run());
    EXPECT_THAT(selected(), ElementsAre("Imu/a"));
}

TEST_P(AggregationUnit, WarnsOfANameWithoutASetAndGoesOn) {
    add_set("Imu/a");
    add_set("Imu/b").invalid();
    host.set_parameter("NamesFilter", Texts{"absent", "b", "a"});
    EXPECT_TRUE(run());
    EXPECT_THAT(selected(), ElementsAre("Imu/a"));
    EXPECT_THAT(host.message_texts(), ElementsAre("warning: No data set 'absent' found",
                                                  "warning: No data set 'b' found"));
}

TEST_P(AggregationUnit, TakesSetsWithoutAMetricWhenNoneIsAskedFor) {
    add_set("Imu/a");
    host.set_parameter("MetricFilter", "");
    EXPECT_TRUE(run());
    EXPECT_THAT(selected(), ElementsAre("Imu/a"));
    EXPECT_THAT(host.calls_of({"has_attribute"}), IsEmpty());
}

TEST_P(AggregationUnit, TakesOnlySetsOfExactlyTheMetricAskedFor) {
    add_set("Imu/equal").attribute_text("MetricType", "Angle");
    add_set("Imu/case").attribute_text("MetricType", "angle");
    add_set("Imu/longer").attribute_text("MetricType", "Angles");
    add_set("Imu/shorter").attribute_text("MetricType", "Angl");
    add_set("Imu/empty").attribute_text("MetricType", "");
    add_set("Imu/absent").attribute_text("Unit", "Angle");
    host.set_parameter("MetricFilter", "Angle");
    EXPECT_TRUE(run());
    EXPECT_THAT(selected(), ElementsAre("Imu/equal"));
    EXPECT_THAT(host.message_texts(), IsEmpty());
    EXPECT_THAT(host.calls(),
                testing::Not(Contains("read_string_attribute Imu/absent MetricType")));
}

TEST_P(AggregationUnit, TakesTheLengthOfATextFromTheText) {
    host.habits().noise_in_text_counts = true;
    add_set("Imu/a").attribute_text("MetricType", "Angle");
    host.set_parameter("MetricFilter", "Angle");
    EXPECT_TRUE(run());
    EXPECT_THAT(selected(), ElementsAre("Imu/a"));
}

TEST_P(AggregationUnit, ReadsRecordsWithoutAuxiliaryBuffers) {
    host.habits().aux_buffers = false;
    add_set("Imu/a").attribute_text("MetricType", "Angle");
    host.set_parameter("MetricFilter", "Angle");
    host.set_parameter("NamesFilter", Texts{"a"});
    EXPECT_TRUE(run());
    EXPECT_THAT(selected(), ElementsAre("Imu/a"));
}

TEST_P(AggregationUnit, CombinesNamesAndMetric) {
    add_set("Imu/a").attribute_text("MetricType", "Angle");
    add_set("Imu/b").attribute_text("MetricType", "Angle");
    add_set("Imu/c").attribute_text("MetricType", "Force");
    host.set_parameter("NamesFilter", Texts{"c", "b"});
    host.set_parameter("MetricFilter", "Angle");
    EXPECT_TRUE(run());
    EXPECT_THAT(selected(), ElementsAre("Imu/b"));
}

TEST_P(AggregationUnit, LeavesSourcesAsTheyWere) {
    add_set("Imu/a").attribute_float("SampleRate", 100).attribute_text("MetricType", "Angle");
    EXPECT_TRUE(run());
    EXPECT_THAT(host.samples("Imu/a"), ElementsAre(3, 5));
    EXPECT_THAT(host.dataset("Imu/a").attribute_names(), ElementsAre("MetricType", "SampleRate"));
    EXPECT_EQ(host.dataset("Imu/a").attribute<float>("SampleRate"), 100.0F);
    for (const std::string& change : find_changes(host)) {
        EXPECT_EQ(change.find("write_samples Imu"), std::string::npos) << change;
    }
}

TEST_P(AggregationUnit, RefusesASourceOfRankZero) {
    host.dataset("Imu/a", {}, {});
    EXPECT_FALSE(run());
    EXPECT_THAT(host.message_texts(),
                ElementsAre("context error: Shape for data set a did not contain 3 elements."));
    EXPECT_THAT(find_changes(host), IsEmpty());
}

TEST_P(AggregationUnitWithGroup, OpensADestinationGroupThatExists) {
    add_set("Imu/a");
    host.group("Out");
    EXPECT_TRUE(run());
    EXPECT_THAT(host.calls_of({"create_group", "group_exists", "open_group"}),
                ElementsAre("open_group / Imu", "group_exists / Out", "open_group / Out"));
    EXPECT_TRUE(host.has_dataset("Out/a"));
}

TEST_P(AggregationUnitWithGroup, CreatesADestinationGroupThatIsMissing) {
    add_set("Imu/a");
    EXPECT_TRUE(run());
    EXPECT_THAT(host.calls_of({"create_group", "group_exists", "open_group"}),
                ElementsAre("open_group / Imu", "group_exists / Out", "create_group / Out"));
    EXPECT_TRUE(host.has_dataset("Out/a"));
}

TEST_P(AggregationUnitWithGroup, ResolvesTheDestinationGroupBeforeItReadsTheFilters) {
    add_set("Imu/a");
    EXPECT_TRUE(run());
    EXPECT_LT(position_of("group_is_valid Out/"), position_of("read_string_list NamesFilter"));
    EXPECT_LT(position_of("read_string_list NamesFilter"), position_of("read_string MetricFilter"));
}

TEST_P(AggregationUnitWithGroup, EndsWithOneMessageWhenTheDestinationGroupIsRefused) {
    add_set("Imu/a");
    host.refuse_creation("Out");
    EXPECT_FALSE(run());
    EXPECT_THAT(host.message_texts(),
                ElementsAre("context error: Error to create the group 'Out'"));
    EXPECT_THAT(host.calls_of({"list_datasets"}), IsEmpty());
}

TEST_P(AggregationUnitWithGroup, EndsSilentlyWhenTheCreatedGroupIsNotValid) {
    add_set("Imu/a");
    host.refuse_creation("Out");
    host.habits().refuses_with_handle = true;
    EXPECT_FALSE(run());
    EXPECT_THAT(host.message_texts(), IsEmpty());
}

TEST_P(AggregationUnitWithGroup, EndsSilentlyWhenTheExistingGroupIsNotValid) {
    add_set("Imu/a");
    host.group("Out").invalid();
    EXPECT_FALSE(run());
    EXPECT_THAT(host.message_texts(), IsEmpty());
}

TEST_P(AggregationUnitWithGroup, SucceedsWithoutASource) {
    host.group("Imu");
    EXPECT_TRUE(run());
    EXPECT_THAT(host.message_texts(), IsEmpty());
    EXPECT_THAT(find_changes(host), IsEmpty());
}

TEST_P(AggregationUnitWithGroup, ReportsEveryShapeBeforeItFails) {
    host.dataset("Imu/flat", {2, 3}, std::vector<float>(6));
    host.dataset("Imu/taken", {2, 1, 4}, std::vector<float>(8));
    host.dataset("Imu/good", {2, 1, 4}, std::vector<float>(8));
    host.dataset("Imu/deep", {1, 2, 1, 4}, std::vector<float>(8));
    host.dataset("Out/taken", {2, 1, 4}, std::vector<float>(8));
    EXPECT_FALSE(run());
    EXPECT_THAT(
        host.message_texts(),
        ElementsAre("context error: Shape for data set flat did not contain 3 elements.",
                    "context error: Data set with incompatible shape found in destination for set "
                    "taken",
                    "context error: Shape for data set deep did not contain 3 elements."));
    EXPECT_THAT(find_changes(host), IsEmpty());
}

// The destination of a source [2, 3, 4] has to be [2, 3, 1].
class DestinationShape
    : public testing::TestWithParam<std::tuple<const char*, std::vector<std::uint64_t>>> {};

INSTANTIATE_TEST_SUITE_P(Shapes, DestinationShape,
                         testing::Combine(testing::Values(AVERAGE_SET, MAXIMUM_EXTREMA),
                                          testing::Values(std::vector<std::uint64_t>{2, 3, 2},
                                                          std::vector<std::uint64_t>{2, 3, 0},
                                                          std::vector<std::uint64_t>{2, 2, 1},
                                                          std::vector<std::uint64_t>{1, 3, 1},
                                                          std::vector<std::uint64_t>{2, 3},
                                                          std::vector<std::uint64_t>{2, 3, 1, 1},
                                                          std::vector<std::uint64_t>{})));

TEST_P(DestinationShape, ThatDiffersFailsTheRunBeforeAnythingIsWritten) {
    const auto& [unit, extents] = GetParam();
    RecordingHost host;
    choose_places(host);
    std::uint64_t count = extents.empty() ? 0 : 1;
    for (const std::uint64_t extent : extents) {
        count *= extent;
    }
    host.dataset("Imu/a", {2, 3, 4}, std::vector<float>(24));
    host.dataset("Out/a", extents, std::vector<float>(count));
    EXPECT_FALSE(host.run(unit));
    EXPECT_THAT(
        host.message_texts(),
        ElementsAre(
            "context error: Data set with incompatible shape found in destination for set a"));
    EXPECT_THAT(find_changes(host), IsEmpty());
}

TEST_P(AggregationUnitOnNewHosts, HandsAbsentPlacesToTheHostAsEmptyTexts) {
    RecordingHost host;
    host.dataset("a", {1, 1, 1}, {3});
    host.refuse_creation("");
    EXPECT_EQ(host.run(GetParam()), GetParam() == std::string(MAXIMUM_EXTREMA));
    EXPECT_THAT(host.calls(), Contains("open_group / "));
    EXPECT_THAT(host.calls(),
                testing::AnyOf(Contains("group_exists / "), Contains("dataset_exists / ")));
}

} // namespace
} // namespace talvora::test_support
