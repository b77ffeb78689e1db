#include "tests/support/recording_host.h"
#include "tests/support/special_values.h"
#include "tests/units/sample_patterns.h"
#include "tests/units/shared_messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

namespace talvora::test_support {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char RECTIFY[] = "orvane.signal.apply-set-rectify";

using Bits = std::vector<std::uint32_t>;

std::vector<float> floats_of(const Bits& bits) {
    std::vector<float> samples;
    for (const std::uint32_t pattern : bits) {
        samples.push_back(std::bit_cast<float>(pattern));
    }
    return samples;
}

class Rectify : public ::testing::Test {
  protected:
    DataSet& add_set(const std::string& path, const std::vector<float>& samples,
                     float sample_rate = 100) {
        return host.dataset(path, {samples.size()}, samples)
            .attribute_float("SampleRate", sample_rate);
    }

    bool run_on(const Texts& paths, const char* identifier = RECTIFY) {
        host.set_parameter("SourceSets", paths);
        return host.run(identifier);
    }

    Texts sample_calls() const { return host.calls_of({"read_samples", "write_samples"}); }

    RecordingHost host;
};

TEST_F(Rectify, TakesTheAbsoluteValueOfEachSample) {
    add_set("a", {-1.5F, 0.0F, -0.0F, 2.0F});
    EXPECT_TRUE(run_on({"a"}));
    EXPECT_EQ(as_bits(host.samples("a")), as_bits({1.5F, 0.0F, 0.0F, 2.0F}));
    EXPECT_THAT(host.message_texts(), IsEmpty());
}

TEST_F(Rectify, ClearsTheSignBitAndNothingElse) {
    const Bits patterns{0xFF80'0000, 0x7F80'0000, 0xFFC0'0000, 0x7FC0'0000, 0xFFC0'1234,
                        0xFF80'0001, 0x7F80'0001, 0x8000'0001, 0x807F'FFFF, 0x8080'0000,
                        0xFF7F'FFFF, 0xFFFF'FFFF, 0x8000'0000, 0x0000'0001, 0xBF80'0000};
    Bits expected;
    for (const std::uint32_t pattern : patterns) {
        expected.push_back(pattern & 0x7FFF'FFFF);
    }
    add_set("a", floats_of(patterns));
    EXPECT_TRUE(run_on({"a"}));
    EXPECT_EQ(as_bits(host.samples("a")), expected);
}

TEST_F(Rectify, WorksUnderItsLegacyIdentifier) {
    add_set("a", {-1, 2});
    EXPECT_TRUE(run_on({"a"}, "signal.set-rectify"));
    EXPECT_THAT(host.samples("a"), ElementsAre(1, 2));
}

TEST_F(Rectify, CoversAllDimensionsOfASet) {
    host.dataset("a", {2, 1, 3, 2}, std::vector<float>(12, -3)).attribute_float("SampleRate", 100);
    EXPECT_TRUE(run_on({"a"}));
    EXPECT_THAT(host.samples("a"), Each(3));
    EXPECT_THAT(sample_calls(), ElementsAre("read_samples a [0,0,0,0|2,1,3,2]",
                                            "write_samples a [0,0,0,0|2,1,3,2]"));
}

TEST_F(Rectify, CoversSetsOfAnyLength) {
    Texts paths;
    for (std::size_t length = 1; length <= 40; ++length) {
        paths.push_back("set" + std::to_string(length));
        add_set(paths.back(), std::vector<float>(length, -static_cast<float>(length)));
    }
    EXPECT_TRUE(run_on(paths));
    for (std::size_t length = 1; length <= 40; ++length) {
        EXPECT_THAT(host.samples(paths[length - 1]), Each(static_cast<float>(length)));
    }
}

TEST_F(Rectify, LeavesOtherSetsAndAllAttributesAlone) {
    add_set("a", {-1}).attribute_text("MetricType", "Rate");
    add_set("b", {-1});
    EXPECT_TRUE(run_on({"a"}));
    EXPECT_THAT(host.samples("b"), ElementsAre(-1));
    EXPECT_THAT(host.dataset("a").attribute_names(), ElementsAre("MetricType", "SampleRate"));
    EXPECT_EQ(host.dataset("a").attribute_slot("SampleRate"), GIVEN_BY_TEST);
}

TEST_F(Rectify, ReadsAllSetsOfABatchThenWritesThem) {
    add_set("a", {-1, -2});
    add_set("b", {-3});
    add_set("c", {-4, -5, -6});
    EXPECT_TRUE(run_on({"c", "a", "b"}));
    EXPECT_THAT(sample_calls(), ElementsAre("read_samples c [0|3]", "read_samples a [0|2]",
                                            "read_samples b [0|1]", "write_samples c [0|3]",
                                            "write_samples a [0|2]", "write_samples b [0|1]"));
    EXPECT_THAT(host.samples("a"), ElementsAre(1, 2));
    EXPECT_THAT(host.samples("b"), ElementsAre(3));
    EXPECT_THAT(host.samples("c"), ElementsAre(4, 5, 6));
}

TEST_F(Rectify, GoesThroughTheHostInThisOrder) {
    add_set("Imu/a", {-1});
    add_set("b", {-2}, NaN);
    host.set_parameter("SourceGroup", "Imu");
    EXPECT_TRUE(run_on({"b"}));
    EXPECT_THAT(host.calls(),
                ElementsAre("root_group", "read_string_list SourceSets", "read_string SourceGroup",
                            "read_boolean ScanRecursive", "open_dataset / b", "dataset_is_valid b",
                            "open_group / Imu", "group_is_valid Imu/", "list_datasets Imu/",
                            "open_dataset Imu/ a", "dataset_is_valid Imu/a",
                            "read_float_attribute b SampleRate", UNUSABLE_RATE, "dataset_shape b",
                            "read_float_attribute Imu/a SampleRate", "dataset_shape Imu/a",
                            "read_samples b [0|1]", "read_samples Imu/a [0|1]",
                            "write_samples b [0|1]", "write_samples Imu/a [0|1]"));
}

TEST_F(Rectify, TakesASetNamedTwiceOnce) {
    add_set("Imu/a", {-1});
    host.set_parameter("SourceGroup", "Imu");
    EXPECT_TRUE(run_on({"Imu/a", "Imu/a"}));
    EXPECT_THAT(sample_calls(),
                ElementsAre("read_samples Imu/a [0|1]", "write_samples Imu/a [0|1]"));
}

TEST_F(Rectify, DoesNothingMoreOnceThereIsNothingSelected) {
    EXPECT_TRUE(run_on({}));
    EXPECT_THAT(host.calls(), ElementsAre("root_group", "read_string_list SourceSets",
                                          "read_string SourceGroup", "read_boolean ScanRecursive"));
}

TEST_F(Rectify, FailsWithTheSelection) {
    add_set("a", {-1});
    EXPECT_FALSE(run_on({"a", "ghost"}));
    EXPECT_THAT(host.message_texts(), ElementsAre("context error: No data set 'ghost' found"));
    EXPECT_THAT(host.samples("a"), ElementsAre(-1));
}

TEST_F(Rectify, AsksForASetWithoutSamplesAllTheSame) {
    host.dataset("a", {3, 0}, {}).attribute_float("SampleRate", 100);
    EXPECT_TRUE(run_on({"a"}));
    EXPECT_THAT(sample_calls(),
                ElementsAre("read_samples a [0,0|3,0]", "write_samples a [0,0|3,0]"));
}

TEST_F(Rectify, PlacesSetsAfterOneWithoutSamples) {
    host.dataset("a", {0}, {}).attribute_float("SampleRate", 100);
    add_set("b", {-1});
    EXPECT_TRUE(run_on({"a", "b", "a"}));
    EXPECT_THAT(host.samples("b"), ElementsAre(1));
}

TEST_F(Rectify, ReadsIntoZeros) {
    add_set("a", {-1, NaN, 5});
    add_set("b", {7, 8});
    host.habits().ignores_reads = true;
    EXPECT_TRUE(run_on({"a", "b"}));
    EXPECT_THAT(as_bits(host.samples("a")), ElementsAre(0, 0, 0));
    EXPECT_THAT(as_bits(host.samples("b")), ElementsAre(0, 0));
}

// --- sample rates -----------------------------------------------------------

class UnusableRate : public Rectify, public ::testing::WithParamInterface<float> {};

INSTANTIATE_TEST_SUITE_P(NotFinite, UnusableRate, ::testing::Values(NaN, -NaN, INF));

TEST_P(UnusableRate, MarksEverySampleOfTheSetAsMissing) {
    add_set("a", {-1, 0, 2, NaN, 5}, GetParam());
    EXPECT_TRUE(run_on({"a"}));
    EXPECT_THAT(as_bits(host.samples("a")), Each(MISSING_BITS));
    EXPECT_THAT(host.message_texts(), ElementsAre(UNUSABLE_RATE));
}

TEST_P(UnusableRate, LeavesTheSetsBesideIt) {
    add_set("a", {-1, -2});
    add_set("b", {-3}, GetParam());
    add_set("c", {-4, -5});
    EXPECT_TRUE(run_on({"a", "b", "c"}));
    EXPECT_THAT(host.samples("a"), ElementsAre(1, 2));
    EXPECT_THAT(as_bits(host.samples("b")), ElementsAre(MISSING_BITS));
    EXPECT_THAT(host.samples("c"), ElementsAre(4, 5));
    EXPECT_THAT(host.message_texts(), ElementsAre(UNUSABLE_RATE));
}

TEST_F(Rectify, WarnsOncePerSetWithAnUnusableRate) {
    add_set("a", {1}, NaN);
    add_set("b", {1}, INF);
    EXPECT_TRUE(run_on({"a", "b", "a"}));
    EXPECT_THAT(host.message_texts(), ElementsAre(UNUSABLE_RATE, UNUSABLE_RATE));
}

class MissingRate : public Rectify, public ::testing::WithParamInterface<float> {};

INSTANTIATE_TEST_SUITE_P(ZeroOrLess, MissingRate,
                         ::testing::Values(0.0F, -0.0F, -1.0F, -1e-45F,
                                           std::numeric_limits<float>::lowest()));

TEST_P(MissingRate, FailsWithoutTouchingAnySample) {
    add_set("a", {-1});
    add_set("b", {-2}, GetParam());
    EXPECT_FALSE(run_on({"a", "b"}));
    EXPECT_THAT(host.message_texts(), ElementsAre(RATE_ERROR));
    EXPECT_THAT(host.messages().at(0).arguments, IsEmpty());
    EXPECT_THAT(sample_calls(), IsEmpty());
    EXPECT_THAT(host.samples("a"), ElementsAre(-1));
}

TEST_P(MissingRate, IsReportedOnceForSeveralSets) {
    add_set("a", {-1}, GetParam());
    add_set("b", {-2}, GetParam());
    EXPECT_FALSE(run_on({"a", "b"}));
    EXPECT_THAT(host.message_texts(), ElementsAre(RATE_ERROR));
}

TEST_F(Rectify, FailsOnASetWithoutTheRateAttribute) {
    host.dataset("a", {1}, {-1});
    EXPECT_FALSE(run_on({"a"}));
    EXPECT_THAT(host.message_texts(), ElementsAre(RATE_ERROR));
}

TEST_F(Rectify, WarnsOfANegativeInfiniteRateAndThenFails) {
    add_set("a", {-1}, -INF);
    EXPECT_FALSE(run_on({"a"}));
    EXPECT_THAT(host.message_texts(), ElementsAre(UNUSABLE_RATE, RATE_ERROR));
    EXPECT_THAT(host.samples("a"), ElementsAre(-1));
}

TEST_F(Rectify, ChecksTheRatesOnceAllRecordsAreBuilt) {
    add_set("a", {-1}, -1);
    add_set("b", {-2}, NaN);
    EXPECT_FALSE(run_on({"a", "b"}));
    EXPECT_THAT(host.message_texts(), ElementsAre(UNUSABLE_RATE, RATE_ERROR));
    EXPECT_THAT(host.calls_of({"dataset_shape"}),
                ElementsAre("dataset_shape a", "dataset_shape b"));
    EXPECT_THAT(as_bits(host.samples("b")), ElementsAre(std::bit_cast<std::uint32_t>(-2.0F)));
}

class SmallRate : public Rectify, public ::testing::WithParamInterface<float> {};

INSTANTIATE_TEST_SUITE_P(AboveZero, SmallRate,
                         ::testing::Values(std::numeric_limits<float>::denorm_min(), 1e-40F,
                                           std::numeric_limits<float>::min(),
                                           std::numeric_limits<float>::max()));

TEST_P(SmallRate, IsARateLikeAnyOther) {
    add_set("a", {-1}, GetParam());
    EXPECT_TRUE(run_on({"a"}));
    EXPECT_THAT(host.samples("a"), ElementsAre(1));
    EXPECT_THAT(host.message_texts(), IsEmpty());
}

// --- batches ----------------------------------------------------------------

constexpr std::size_t MILLION = 1'000'000;

struct BatchCase {
    std::string name;
    std::vector<std::size_t> lengths; // of the sets 0, 1, 2, ...
    std::string requests;             // r0 r1 w0 w1: reads and writes in order
};

void PrintTo(const BatchCase& batch_case, std::ostream* out) {
    *out << batch_case.requests;
}

class RectifyBatches : public Rectify, public ::testing::WithParamInterface<BatchCase> {};

INSTANTIATE_TEST_SUITE_P(
    Of, RectifyBatches,
    ::testing::Values(
        BatchCase{"TwoSetsThatStartWithinTheLimit", {6 * MILLION, 6 * MILLION}, "r0 r1 w0 w1 "},
        BatchCase{"ASetOneBeyondTheLimit", {10 * MILLION + 1, 5}, "r0 w0 r1 w1 "},
        BatchCase{"ASetAtTheLimit", {10 * MILLION, 5}, "r0 r1 w0 w1 "},
        BatchCase{"AStartOneBeyondTheLimit", {10 * MILLION, 1, 5}, "r0 r1 w0 w1 r2 w2 "},
        BatchCase{"OneLargeSet", {12 * MILLION}, "r0 w0 "},
        BatchCase{"ALargerSecondBatch",
                  {10 * MILLION + 1, 9 * MILLION, 9 * MILLION, 3},
                  "r0 w0 r1 r2 w1 w2 r3 w3 "}),
    [](const auto& batch_case) { return batch_case.param.name; });

TEST_P(RectifyBatches, AreCutAndPlacedSo) {
    Texts paths;
    for (const std::size_t length : GetParam().lengths) {
        const auto number = static_cast<float>(paths.size() + 1);
        paths.push_back(std::to_string(paths.size()));
        std::vector<float> samples(length, -number);
        samples.front() = -10 * number;
        samples.back() = -100 * number;
        add_set(paths.back(), samples);
    }
    EXPECT_TRUE(run_on(paths));

    std::string requests;
    for (const std::string& line : sample_calls()) {
        requests += std::string{line.front(), line[line.find(' ') + 1], ' '};
    }
    EXPECT_EQ(requests, GetParam().requests);
    for (std::size_t i = 0; i < paths.size(); ++i) {
        const auto number = static_cast<float>(i + 1);
        std::vector<float> expected(GetParam().lengths[i], number);
        expected.front() = 10 * number;
        expected.back() = 100 * number;
        EXPECT_TRUE(host.samples(paths[i]) == expected) << i;
    }
}

} // namespace
} // namespace talvora::test_support
