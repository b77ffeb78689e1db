// What a unit asks of each selected set before it reads samples, seen from the host
// of the rectify unit.

#include "tests/support/recording_host.h"
#include "tests/support/special_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace talvora::test_support {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char RECTIFY[] = "orvane.signal.apply-set-rectify";
constexpr char UNUSABLE_RATE[] = "warning: Set Has NaN SampleRate. NaNs will be written to it.";

class SetRecords : public ::testing::TestWithParam<bool> {
  protected:
    SetRecords() { host.habits().aux_buffers = GetParam(); }

    bool run_on(const Texts& paths) {
        host.set_parameter("SourceSets", paths);
        return host.run(RECTIFY);
    }

    // The calls from the first request for a rate to the last for a shape.
    Texts record_calls() const {
        return host.calls_of({"read_float_attribute", "dataset_shape", "warning:"});
    }

    RecordingHost host;
};

INSTANTIATE_TEST_SUITE_P(WithAndWithoutAux, SetRecords, ::testing::Bool());

TEST_P(SetRecords, AskForTheRateThenForTheShapeOfEachSet) {
    host.dataset("a", {2}, {1, 1}).attribute_float("SampleRate", 100);
    host.dataset("b", {1, 1}, {1}).attribute_float("SampleRate", 50);
    EXPECT_TRUE(run_on({"b", "a"}));
    EXPECT_THAT(record_calls(),
                ElementsAre("read_float_attribute b SampleRate", "dataset_shape b",
                            "read_float_attribute a SampleRate", "dataset_shape a"));
}

TEST_P(SetRecords, WarnOfARateThatIsNotFiniteBeforeTheShape) {
    host.dataset("a", {1}, {1}).attribute_float("SampleRate", NaN);
    host.dataset("b", {1}, {1}).attribute_float("SampleRate", 100);
    host.dataset("c", {1}, {1}).attribute_float("SampleRate", INF);
    EXPECT_TRUE(run_on({"a", "b", "c"}));
    EXPECT_THAT(record_calls(),
                ElementsAre("read_float_attribute a SampleRate", UNUSABLE_RATE, "dataset_shape a",
                            "read_float_attribute b SampleRate", "dataset_shape b",
                            "read_float_attribute c SampleRate", UNUSABLE_RATE, "dataset_shape c"));
}

TEST_P(SetRecords, WarnWithoutArguments) {
    host.dataset("a", {1}, {1}).attribute_float("SampleRate", NaN);
    EXPECT_TRUE(run_on({"a"}));
    ASSERT_EQ(host.messages().size(), 1U);
    EXPECT_EQ(host.messages().at(0).channel, Channel::WARNING);
    EXPECT_EQ(host.messages().at(0).text_template,
              "Set Has NaN SampleRate. NaNs will be written to it.");
    EXPECT_THAT(host.messages().at(0).arguments, IsEmpty());
}

TEST_P(SetRecords, LeaveOutASetWithoutDimensions) {
    host.dataset("scalar", {}, {7}).attribute_float("SampleRate", 100);
    host.dataset("a", {1}, {-1}).attribute_float("SampleRate", 100);
    EXPECT_TRUE(run_on({"scalar", "a"}));
    EXPECT_THAT(host.message_texts(), IsEmpty());
    EXPECT_THAT(host.calls_of({"read_samples", "write_samples"}),
                ElementsAre("read_samples a [0|1]", "write_samples a [0|1]"));
}

TEST_P(SetRecords, AreNoneForSetsWithoutDimensionsAlone) {
    host.dataset("scalar", {}, {7}).attribute_float("SampleRate", 100);
    EXPECT_TRUE(run_on({"scalar"}));
    EXPECT_THAT(host.message_texts(), IsEmpty());
    EXPECT_THAT(host.calls_of({"read_samples", "write_samples"}), IsEmpty());
}

TEST_P(SetRecords, DoNotMindTheRateOfASetWithoutDimensions) {
    host.dataset("scalar", {}, {7}).attribute_float("SampleRate", -1);
    host.dataset("a", {1}, {-1}).attribute_float("SampleRate", 100);
    EXPECT_TRUE(run_on({"scalar", "a"}));
    EXPECT_THAT(host.samples("a"), ElementsAre(1));
}

TEST_P(SetRecords, WarnOfTheRateOfASetWithoutDimensionsAllTheSame) {
    host.dataset("scalar", {}, {7}).attribute_float("SampleRate", NaN);
    EXPECT_TRUE(run_on({"scalar"}));
    EXPECT_THAT(host.message_texts(), ElementsAre(UNUSABLE_RATE));
}

TEST_P(SetRecords, SelectTheWholeSet) {
    host.dataset("a", {4, 1, 100}, std::vector<float>(400, -1)).attribute_float("SampleRate", 1);
    EXPECT_TRUE(run_on({"a"}));
    EXPECT_THAT(host.calls_of({"read_samples", "write_samples"}),
                ElementsAre("read_samples a [0,0,0|4,1,100]", "write_samples a [0,0,0|4,1,100]"));
}

} // namespace
} // namespace talvora::test_support
