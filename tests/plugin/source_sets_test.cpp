// Which data sets an in-place unit works on, seen from the host of the rectify unit.

#include "tests/support/recording_host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace talvora::test_support {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

constexpr char RECTIFYING_UNIT[] = "orvane.signal.apply-set-rectify";

// What stands at the start of every selection.
const Texts PARAMETERS_READ{"root_group", "read_string_list SourceSets", "read_string SourceGroup",
                            "read_boolean ScanRecursive"};

Texts after_parameters(const Texts& lines) {
    Texts all = PARAMETERS_READ;
    all.insert(all.end(), lines.begin(), lines.end());
    return all;
}

// Run with records that carry aux buffers and with records that do not.
class SourceSets : public ::testing::TestWithParam<bool> {
  protected:
    SourceSets() {
        host.habits().aux_buffers = GetParam();
        host.habits().noise_in_text_counts = GetParam();
        host.habits().noise_in_absent_counts = GetParam();
    }

    void add_set(const std::string& path) {
        host.dataset(path, {1}, {-1}).attribute_float("SampleRate", 100);
    }

    void add_sets(const Texts& paths) {
        for (const std::string& path : paths) {
            add_set(path);
        }
    }

    // The sets whose samples were written, in order.
    Texts run_and_list_written() {
        EXPECT_TRUE(host.run(RECTIFYING_UNIT));
        Texts paths;
        for (const std::string& line : host.calls_of({"write_samples"})) {
            paths.push_back(line.substr(14, line.find(" [") - 14));
        }
        return paths;
    }

    void expect_failure_with(const std::string& message) {
        EXPECT_FALSE(host.run(RECTIFYING_UNIT));
        EXPECT_THAT(host.message_texts(), ElementsAre(message));
        EXPECT_THAT(host.calls_of({"read_samples", "write_samples", "dataset_shape"}), IsEmpty());
    }

    RecordingHost host;
};

INSTANTIATE_TEST_SUITE_P(WithAndWithoutAux, SourceSets, ::testing::Bool());

TEST_P(SourceSets, FailWhenNoSourceIsGiven) {
    expect_failure_with("context error: No source found to get data set(s)");
    EXPECT_THAT(host.calls(), ElementsAreArray(after_parameters({host.message_texts().at(0)})));
}

TEST_P(SourceSets, OpenNamesFromTheRootInListOrder) {
    add_sets({"Imu/a", "Imu/Left/b", "c"});
    host.set_parameter("SourceSets", Texts{"c", "Imu/Left/b", "Imu/a"});
    EXPECT_THAT(run_and_list_written(), ElementsAre("c", "Imu/Left/b", "Imu/a"));
    EXPECT_THAT(
        Texts(host.calls().begin(), host.calls().begin() + 10),
        ElementsAreArray(after_parameters(
            {"open_dataset / c", "dataset_is_valid c", "open_dataset / Imu/Left/b",
             "dataset_is_valid Imu/Left/b", "open_dataset / Imu/a", "dataset_is_valid Imu/a"})));
}

TEST_P(SourceSets, StopAtTheFirstNameOfNoDataSet) {
    add_sets({"a", "b"});
    host.set_parameter("SourceSets", Texts{"a", "ghost", "b", "phantom"});
    expect_failure_with("context error: No data set 'ghost' found");
    EXPECT_THAT(host.calls(), ElementsAreArray(after_parameters(
                                  {"open_dataset / a", "dataset_is_valid a", "open_dataset / ghost",
                                   "dataset_is_valid ghost", host.message_texts().at(0)})));
}

TEST_P(SourceSets, DoNotLookAtTheGroupWhenANameIsBad) {
    add_set("Imu/a");
    host.set_parameter("SourceSets", Texts{"ghost"});
    host.set_parameter("SourceGroup", "Imu");
    host.set_parameter("ScanRecursive", true);
    expect_failure_with("context error: No data set 'ghost' found");
    EXPECT_THAT(host.calls_of({"open_group", "list_datasets", "visit_groups"}), IsEmpty());
}

TEST_P(SourceSets, PassTheNameApartFromTheTemplate) {
    host.set_parameter("SourceSets", Texts{"50%s{}"});
    EXPECT_FALSE(host.run(RECTIFYING_UNIT));
    ASSERT_EQ(host.messages().size(), 1U);
    EXPECT_EQ(host.messages().at(0).text_template, "No data set '%s' found");
    EXPECT_THAT(host.messages().at(0).arguments,
                ElementsAre(MessageArgument(std::string("50%s{}"))));
}

TEST_P(SourceSets, TakeAllDataSetsOfTheGroupInItsOrder) {
    add_sets({"Imu/b", "Other/x", "Imu/a", "Imu/Left/deep"});
    host.set_parameter("SourceGroup", "Imu");
    EXPECT_THAT(run_and_list_written(), ElementsAre("Imu/b", "Imu/a"));
    EXPECT_THAT(
        Texts(host.calls().begin(), host.calls().begin() + 11),
        ElementsAreArray(after_parameters(
            {"open_group / Imu", "group_is_valid Imu/", "list_datasets Imu/", "open_dataset Imu/ b",
             "dataset_is_valid Imu/b", "open_dataset Imu/ a", "dataset_is_valid Imu/a"})));
    EXPECT_THAT(host.message_texts(), IsEmpty());
}

TEST_P(SourceSets, FailOnAGroupThatDoesNotExist) {
    host.set_parameter("SourceGroup", "Nowhere");
    expect_failure_with("context error: Invalid source group 'Nowhere' to find data set(s)");
    EXPECT_THAT(host.calls(), ElementsAreArray(after_parameters({"open_group / Nowhere",
                                                                 "group_is_valid Nowhere/",
                                                                 host.message_texts().at(0)})));
    EXPECT_EQ(host.messages().at(0).text_template, "Invalid source group '%s' to find data set(s)");
}

TEST_P(SourceSets, FailOnAnInvalidGroupEvenWithNamedSets) {
    add_set("a");
    host.group("Imu").invalid();
    host.set_parameter("SourceSets", Texts{"a"});
    host.set_parameter("SourceGroup", "Imu");
    expect_failure_with("context error: Invalid source group 'Imu' to find data set(s)");
    EXPECT_THAT(host.samples("a"), ElementsAre(-1));
}

TEST_P(SourceSets, SkipTheRestOfAGroupAfterAnInvalidSet) {
    add_sets({"Imu/a", "Imu/broken", "Imu/c"});
    host.dataset("Imu/broken").invalid();
    host.set_parameter("SourceGroup", "Imu");
    EXPECT_THAT(run_and_list_written(), ElementsAre("Imu/a"));
    EXPECT_THAT(host.message_texts(), IsEmpty());
    EXPECT_THAT(host.calls_of({"open_dataset"}),
                ElementsAre("open_dataset Imu/ a", "open_dataset Imu/ broken"));
}

TEST_P(SourceSets, ScanOnAfterAnInvalidSetDirectlyInTheGroup) {
    add_sets({"Imu/broken", "Imu/a", "Imu/Left/b"});
    host.dataset("Imu/broken").invalid();
    host.set_parameter("SourceGroup", "Imu");
    host.set_parameter("ScanRecursive", true);
    EXPECT_THAT(run_and_list_written(), ElementsAre("Imu/Left/b"));
    EXPECT_THAT(host.message_texts(), IsEmpty());
}

TEST_P(SourceSets, TakeTheGroupsBelowWhenScanning) {
    add_sets({"Imu/Left/Foot/c", "Imu/a", "Imu/Left/b", "Imu/Right/d", "Other/x"});
    host.set_parameter("SourceGroup", "Imu");
    host.set_parameter("ScanRecursive", true);
    EXPECT_THAT(run_and_list_written(),
                ElementsAre("Imu/a", "Imu/Left/b", "Imu/Left/Foot/c", "Imu/Right/d"));
    EXPECT_THAT(host.calls_of({"list_datasets", "visit_groups"}),
                ElementsAre("list_datasets Imu/", "visit_groups Imu/", "list_datasets Imu/Left/",
                            "list_datasets Imu/Left/Foot/", "list_datasets Imu/Right/"));
}

TEST_P(SourceSets, CountTheGroupOnceWhenTheScanVisitsItToo) {
    add_sets({"Imu/a", "Imu/Left/b"});
    host.habits().visits_starting_group = true;
    host.set_parameter("SourceGroup", "Imu");
    host.set_parameter("ScanRecursive", true);
    EXPECT_THAT(run_and_list_written(), ElementsAre("Imu/a", "Imu/Left/b"));
    EXPECT_THAT(host.calls_of({"list_datasets"}),
                ElementsAre("list_datasets Imu/", "list_datasets Imu/", "list_datasets Imu/Left/"));
}

TEST_P(SourceSets, AreTheGroupsOwnWhenThereIsNothingBelowToScan) {
    add_sets({"Imu/a", "Imu/b"});
    host.set_parameter("SourceGroup", "Imu");
    host.set_parameter("ScanRecursive", true);
    EXPECT_THAT(run_and_list_written(), ElementsAre("Imu/a", "Imu/b"));
    EXPECT_EQ(host.calls_of({"visit_groups"}).size(), 1U);
}

TEST_P(SourceSets, FailWhenTheScanFails) {
    add_sets({"Imu/a", "Imu/Left/b"});
    host.set_parameter("SourceGroup", "Imu");
    host.set_parameter("ScanRecursive", true);
    for (const int visited : {0, 1}) {
        host.habits().failing_visit = visited;
        expect_failure_with(
            "context error: Error when scanning the source_group 'Imu' to find data set(s)");
        EXPECT_EQ(host.messages().at(0).text_template,
                  "Error when scanning the source_group '%s' to find data set(s)");
        host.forget_calls();
    }
}

TEST_P(SourceSets, FailOnAnInvalidSetInAGroupBelow) {
    add_sets({"Imu/a", "Imu/Left/broken", "Imu/Right/c"});
    host.dataset("Imu/Left/broken").invalid();
    host.set_parameter("SourceGroup", "Imu");
    host.set_parameter("ScanRecursive", true);
    expect_failure_with(
        "context error: Error when scanning the source_group 'Imu' to find data set(s)");
    EXPECT_THAT(host.samples("Imu/a"), ElementsAre(-1));
    EXPECT_THAT(host.calls_of({"open_dataset"}),
                ElementsAre("open_dataset Imu/ a", "open_dataset Imu/Left/ broken"));
}

TEST_P(SourceSets, ScanNothingWithoutAGroup) {
    add_sets({"Imu/a", "Imu/Left/b"});
    host.set_parameter("SourceSets", Texts{"Imu/a"});
    host.set_parameter("ScanRecursive", true);
    EXPECT_THAT(run_and_list_written(), ElementsAre("Imu/a"));
    EXPECT_THAT(host.calls_of({"visit_groups", "open_group"}), IsEmpty());
}

TEST_P(SourceSets, AreTheNamedOnesThenTheGroupsEachOnceAtItsFirstPlace) {
    add_sets({"Imu/a", "Imu/b", "Imu/c", "x"});
    host.set_parameter("SourceSets", Texts{"x", "Imu/c", "x", "Imu/c"});
    host.set_parameter("SourceGroup", "Imu");
    EXPECT_THAT(run_and_list_written(), ElementsAre("x", "Imu/c", "Imu/a", "Imu/b"));
}

TEST_P(SourceSets, AreNoneForAnEmptyList) {
    add_set("Imu/a");
    host.set_parameter("SourceSets", Texts{});
    EXPECT_TRUE(host.run(RECTIFYING_UNIT));
    EXPECT_THAT(host.calls(), ElementsAreArray(PARAMETERS_READ));
}

TEST_P(SourceSets, AreTheGroupsForAnEmptyList) {
    add_set("Imu/a");
    host.set_parameter("SourceSets", Texts{});
    host.set_parameter("SourceGroup", "Imu");
    EXPECT_THAT(run_and_list_written(), ElementsAre("Imu/a"));
}

TEST_P(SourceSets, AreNoneForAnEmptyGroup) {
    host.group("Imu");
    host.set_parameter("SourceGroup", "Imu");
    EXPECT_TRUE(host.run(RECTIFYING_UNIT));
    EXPECT_THAT(host.calls(),
                ElementsAreArray(after_parameters(
                    {"open_group / Imu", "group_is_valid Imu/", "list_datasets Imu/"})));
}

TEST_P(SourceSets, TakeAnEmptyGroupTextAsGiven) {
    add_sets({"a", "Imu/b"});
    host.set_parameter("SourceGroup", "");
    EXPECT_THAT(run_and_list_written(), ElementsAre("a"));
    EXPECT_THAT(host.calls_of({"open_group"}), ElementsAre("open_group / "));
}

TEST_P(SourceSets, AskForEachTableOfTheHostByItsNumber) {
    add_set("a");
    host.set_parameter("SourceSets", Texts{"a"});
    EXPECT_TRUE(host.run(RECTIFYING_UNIT));
    EXPECT_EQ(host.interface_requests().at(0), 4);
    EXPECT_THAT(host.interface_requests(), ::testing::IsSupersetOf({4, 7, 8, 9}));
}

TEST_P(SourceSets, CanBeMany) {
    Texts paths;
    for (int i = 0; i < 500; ++i) {
        paths.push_back("Imu/" + std::to_string(i));
    }
    add_sets(paths);
    host.set_parameter("SourceGroup", "Imu");
    EXPECT_EQ(run_and_list_written(), paths);
}

} // namespace
} // namespace talvora::test_support
