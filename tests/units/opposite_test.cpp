#include "tests/support/recording_host.h"
#include "tests/units/sample_patterns.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <numeric>
#include <vector>

namespace talvora::test_support {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char OPPOSITE[] = "orvane.signal.apply-set-opposite";
constexpr char LEGACY_OPPOSITE[] = "signal.set-opposite";

// The components of a set of extents 2, 3.
void prepare_choice(RecordingHost& host, std::int64_t axis, const Integers& components) {
    host.dataset("Imu/Rate", {2, 3}, {1, 2, 3, 4, 5, 6});
    host.set_parameter("SourceSets", Texts{"Imu/Rate"});
    host.set_parameter("Axis", axis);
    host.set_parameter("Components", components);
}

TEST(Opposite, NegatesWholeSetsByDefault) {
    RecordingHost host;
    host.dataset("Imu/Rate", {2, 2}, {1, -2, 0, 4});
    host.dataset("Imu/Force", {1}, {-3});
    host.set_parameter("SourceGroup", "Imu");
    EXPECT_TRUE(host.run(OPPOSITE));
    EXPECT_THAT(as_bits(host.samples("Imu/Rate")), as_bits({-1, 2, -0.0F, -4}));
    EXPECT_THAT(host.samples("Imu/Force"), ElementsAre(3));
}

TEST(Opposite, IgnoresComponentsWithANegativeAxis) {
    RecordingHost host;
    prepare_choice(host, -2, {1, 99});
    EXPECT_TRUE(host.run(OPPOSITE));
    EXPECT_THAT(host.samples("Imu/Rate"), ElementsAre(-1, -2, -3, -4, -5, -6));
    EXPECT_THAT(host.messages(), IsEmpty());
}

TEST(Opposite, KeepsTheBitsOfMissingSamples) {
    RecordingHost host;
    std::vector<float> samples(9, std::bit_cast<float>(0xFFC00000U));
    samples.push_back(std::bit_cast<float>(0x7FC00001U));
    host.dataset("x", {10}, samples);
    host.set_parameter("SourceSets", Texts{"x"});
    EXPECT_TRUE(host.run(OPPOSITE));
    EXPECT_EQ(as_bits(host.samples("x")), as_bits(samples));
}

TEST(Opposite, NegatesTheChosenComponents) {
    RecordingHost host;
    std::vector<float> samples(300);
    std::iota(samples.begin(), samples.end(), 1.0F);
    host.dataset("x", {100, 3}, samples);
    host.set_parameter("SourceSets", Texts{"x"});
    host.set_parameter("Axis", std::int64_t{1});
    host.set_parameter("Components", Integers{0, 2});
    EXPECT_TRUE(host.run(OPPOSITE));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        ASSERT_EQ(host.samples("x")[i], i % 3 == 1 ? samples[i] : -samples[i]) << i;
    }
}

TEST(Opposite, WarnsOfAComponentOutOfRangeAndGoesOn) {
    RecordingHost host;
    prepare_choice(host, 1, {0, 3});
    EXPECT_TRUE(host.run(OPPOSITE));
    EXPECT_THAT(host.samples("Imu/Rate"), ElementsAre(-1, 2, 3, -4, 5, 6));
    ASSERT_EQ(host.messages().size(), 1U);
    const Message& warning = host.messages()[0];
    EXPECT_EQ(warning.channel, Channel::WARNING);
    EXPECT_EQ(warning.text_template,
              "set-opposite : component {} exceeds or equals {}, which is the number of "
              "components for the given axis {}");
    EXPECT_THAT(warning.arguments,
                ElementsAre(MessageArgument{std::uint64_t{3}}, MessageArgument{std::uint64_t{3}},
                            MessageArgument{std::uint64_t{1}}));
}

TEST(Opposite, TakesANegativeComponentAsTheLargestNumber) {
    RecordingHost host;
    prepare_choice(host, 0, {-1});
    EXPECT_TRUE(host.run(OPPOSITE));
    EXPECT_THAT(host.samples("Imu/Rate"), ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_THAT(host.message_texts(),
                ElementsAre("warning: set-opposite : component 18446744073709551615 exceeds or "
                            "equals 2, which is the number of components for the given axis 0"));
}

TEST(Opposite, WarnsOfAnAxisOutOfRangeAndGoesOnWithTheNextSet) {
    RecordingHost host;
    prepare_choice(host, 2, {0});
    host.dataset("Imu/Cube", {1, 1, 2}, {7, 8});
    host.set_parameter("SourceSets", Texts{"Imu/Rate", "Imu/Cube"});
    EXPECT_TRUE(host.run(OPPOSITE));
    EXPECT_THAT(host.samples("Imu/Rate"), ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_THAT(host.samples("Imu/Cube"), ElementsAre(-7, 8));
    ASSERT_EQ(host.messages().size(), 1U);
    EXPECT_EQ(host.messages()[0].channel, Channel::WARNING);
    EXPECT_EQ(host.messages()[0].text_template,
              "set-opposite : given axis {} exceeds or equals data set shape size of {}");
    EXPECT_THAT(host.messages()[0].arguments,
                ElementsAre(MessageArgument{std::uint64_t{2}}, MessageArgument{std::uint64_t{2}}));
}

TEST(Opposite, ComparesAllBitsOfTheAxis) {
    RecordingHost host;
    prepare_choice(host, std::int64_t{1} << 32, {0});
    EXPECT_TRUE(host.run(OPPOSITE));
    EXPECT_THAT(host.samples("Imu/Rate"), ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_THAT(host.message_texts(),
                ElementsAre("warning: set-opposite : given axis 4294967296 exceeds or equals data "
                            "set shape size of 2"));
}

TEST(Opposite, NegatesAComponentAgainEachTimeItIsListed) {
    RecordingHost host;
    prepare_choice(host, 1, {1, 1});
    EXPECT_TRUE(host.run(OPPOSITE));
    EXPECT_THAT(host.samples("Imu/Rate"), ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_EQ(host.calls_of({"write_samples"}).size(), 2U);
}

TEST(Opposite, ChangesNothingWithAnAxisAndNoComponents) {
    RecordingHost host;
    host.dataset("x", {2}, {1, 2});
    host.set_parameter("SourceSets", Texts{"x"});
    host.set_parameter("Axis", ParameterValue{std::int64_t{0}});
    EXPECT_TRUE(host.run(OPPOSITE));
    EXPECT_THAT(host.calls_of({"read_samples", "write_samples"}), IsEmpty());
    EXPECT_THAT(host.messages(), IsEmpty());
}

TEST(Opposite, FindsComponentsAlongEveryAxis) {
    for_every_axis([](const std::vector<std::uint64_t>& extents, std::size_t axis) {
        RecordingHost host;
        host.dataset("x", extents, make_samples(extents, axis, [](auto, auto) { return 3.0F; }));
        host.set_parameter("SourceSets", Texts{"x"});
        host.set_parameter("Axis", static_cast<std::int64_t>(axis));
        host.set_parameter("Components", Integers{1});
        EXPECT_TRUE(host.run(OPPOSITE));
        EXPECT_EQ(host.samples("x"), make_samples(extents, axis, [](auto, auto position) {
                      return position == 1 ? -3.0F : 3.0F;
                  }));
    });
}

// Warnings for all components come before the first sample is read; no attribute is
// looked at.
TEST(Opposite, AsksTheHostInItsOrder) {
    RecordingHost host;
    prepare_choice(host, 1, {2, 9, 0});
    EXPECT_TRUE(host.run(OPPOSITE));
    EXPECT_THAT(
        host.calls(),
        ElementsAre("root_group", "read_string_list SourceSets", "read_string SourceGroup",
                    "read_boolean ScanRecursive", "open_dataset / Imu/Rate",
                    "dataset_is_valid Imu/Rate", "root_group", "read_integer Axis",
                    "read_integer_list Components", "dataset_shape Imu/Rate",
                    "warning: set-opposite : component 9 exceeds or equals 3, which is the number "
                    "of components for the given axis 1",
                    "read_samples Imu/Rate [0,2|2,1]", "write_samples Imu/Rate [0,2|2,1]",
                    "read_samples Imu/Rate [0,0|2,1]", "write_samples Imu/Rate [0,0|2,1]"));
}

TEST(Opposite, TakesTheWholeSetInOneRequest) {
    RecordingHost host;
    prepare_choice(host, -1, {});
    EXPECT_TRUE(host.run(OPPOSITE));
    EXPECT_THAT(host.calls_of({"read_samples", "write_samples"}),
                ElementsAre("read_samples Imu/Rate [0,0|2,3]", "write_samples Imu/Rate [0,0|2,3]"));
}

TEST(Opposite, WorksOnSetsWithoutSamples) {
    RecordingHost host;
    host.dataset("x", {0, 3}, {});
    host.set_parameter("SourceSets", Texts{"x"});
    EXPECT_TRUE(host.run(OPPOSITE));
    EXPECT_THAT(host.messages(), IsEmpty());
}

TEST(Opposite, SucceedsWithNothingSelected) {
    RecordingHost host;
    host.set_parameter("SourceSets", Texts{});
    EXPECT_TRUE(host.run(OPPOSITE));
    EXPECT_THAT(host.calls_of({"read_integer", "read_integer_list"}),
                ElementsAre("read_integer Axis", "read_integer_list Components"));
}

TEST(Opposite, FailsWithoutASource) {
    RecordingHost host;
    EXPECT_FALSE(host.run(OPPOSITE));
    EXPECT_THAT(host.message_texts(),
                ElementsAre("context error: No source found to get data set(s)"));
}

TEST(Opposite, DoesTheSameUnderItsLegacyIdentifier) {
    RecordingHost host;
    prepare_choice(host, 1, {2, 9});
    EXPECT_TRUE(host.run(OPPOSITE));
    const std::vector<std::string> calls = host.calls();
    host.forget_calls();
    EXPECT_TRUE(host.run(LEGACY_OPPOSITE));
    EXPECT_EQ(host.calls(), calls);
    EXPECT_THAT(host.samples("Imu/Rate"), ElementsAre(1, 2, 3, 4, 5, 6));
}

} // namespace
} // namespace talvora::test_support
