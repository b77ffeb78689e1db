#include "tests/support/recording_host.h"
#include "tests/support/special_values.h"
#include "tests/units/sample_patterns.h"
#include "tests/units/shared_messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <limits>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

namespace talvora::test_support {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char BUTTERWORTH[] = "orvane.signal.apply-set-butterworth";
constexpr char NON_BAND_WIDTH[] =
    "context error: Bandwidth cannot be defined when using a non-band filter (bandform of type low "
    "or high pass).";
constexpr char MISSING_WIDTH[] = "context error: Bandwidth must be defined as a positive number "
                                 "when using a filter of type bandpass or bandstop.";

// A signal that every filter here changes.
std::vector<float> zigzag(std::size_t length) {
    std::vector<float> samples;
    for (std::size_t i = 0; i < length; ++i) {
        samples.push_back(static_cast<float>(i % 7) * 1.5F - static_cast<float>(i % 3));
    }
    return samples;
}

class Butterworth : public ::testing::Test {
  protected:
    Butterworth() {
        host.set_parameter("CutoffFrequency", 6.0);
        set_integer("Order", std::int64_t{4});
    }

    DataSet& add_set(const std::string& path, std::vector<std::uint64_t> extents,
                     const std::vector<float>& samples, float sample_rate = 100) {
        return host.dataset(path, std::move(extents), samples)
            .attribute_float("SampleRate", sample_rate);
    }

    DataSet& add_line(const std::string& path, std::size_t length, float sample_rate = 100) {
        return add_set(path, {length}, zigzag(length), sample_rate);
    }

    void set_integer(const char* key, std::int64_t value) { host.set_parameter(key, value); }

    void set_band(const char* form, double width) {
        host.set_parameter("Bandform", form);
        host.set_parameter("BandWidth", width);
    }

    bool run_on(const Texts& paths, const char* identifier = BUTTERWORTH) {
        host.set_parameter("SourceSets", paths);
        return host.run(identifier);
    }

    // What a refused run looks like: one message, no sample read or written.
    void expect_refusal(const std::string& message) {
        if (!host.has_dataset("a")) {
            add_line("a", 50);
        }
        EXPECT_FALSE(run_on({"a"}));
        EXPECT_THAT(host.message_texts(), ElementsAre(message));
        EXPECT_THAT(host.calls_of({"read_samples", "write_samples"}), IsEmpty());
        EXPECT_EQ(host.samples("a"), zigzag(50));
    }

    RecordingHost host;
};

// --- agreement with an independent tool

struct GoldenCase {
    std::string form;
    std::int64_t order = 0;
    double cutoff = 0;
    double width = 0;
    float rate = 0;
    std::vector<float> input;
    std::vector<float> expected;
};

std::vector<float> read_samples(std::istream& file) {
    std::string line;
    std::getline(file, line);
    std::istringstream words(line);
    std::vector<float> samples;
    for (std::string word; words >> word;) {
        samples.push_back(std::stof(word));
    }
    return samples;
}

std::vector<GoldenCase> read_cases() {
    std::ifstream file(TALVORA_BUTTERWORTH_GOLDEN);
    std::vector<GoldenCase> cases;
    for (GoldenCase next;
         file >> next.form >> next.order >> next.cutoff >> next.width >> next.rate;) {
        file >> std::ws;
        next.input = read_samples(file);
        next.expected = read_samples(file);
        cases.push_back(next);
    }
    return cases;
}

void expect_samples_near(const std::vector<float>& samples, const std::vector<float>& expected) {
    ASSERT_EQ(samples.size(), expected.size());
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (std::isnan(expected[i])) {
            EXPECT_TRUE(std::isnan(samples[i])) << "sample " << i;
        } else {
            EXPECT_NEAR(samples[i], expected[i], 2e-6) << "sample " << i;
        }
    }
}

TEST_F(Butterworth, AgreesWithSciPyOnEveryForm) {
    const std::vector<GoldenCase> cases = read_cases();
    ASSERT_EQ(cases.size(), 5U);
    for (const GoldenCase& golden : cases) {
        SCOPED_TRACE(golden.form + " of order " + std::to_string(golden.order));
        ASSERT_EQ(golden.input.size(), 360U);
        const std::string path = "set" + std::to_string(&golden - cases.data());
        add_set(path, {3, 1, 120}, golden.input, golden.rate);
        set_band(golden.form.c_str(), golden.width);
        host.set_parameter("CutoffFrequency", golden.cutoff);
        set_integer("Order", golden.order);
        EXPECT_TRUE(run_on({path}));
        expect_samples_near(host.samples(path), golden.expected);
    }
    EXPECT_THAT(host.message_texts(), IsEmpty());
}

TEST_F(Butterworth, KeepsAConstantSignalInALowPass) {
    add_set("a", {40}, std::vector<float>(40, 2.5F));
    EXPECT_TRUE(run_on({"a"}));
    EXPECT_THAT(host.samples("a"), Each(::testing::FloatNear(2.5F, 1e-6F)));
}

TEST_F(Butterworth, WorksUnderItsLegacyIdentifier) {
    add_line("current", 60);
    add_line("legacy", 60);
    EXPECT_TRUE(run_on({"current"}));
    EXPECT_TRUE(run_on({"legacy"}, "signal.set-butterworth"));
    EXPECT_EQ(host.samples("current"), host.samples("legacy"));
    EXPECT_NE(host.samples("current"), zigzag(60));
}

// --- parameters, in the order in which they are checked

TEST_F(Butterworth, ReadsAndChecksParametersBeforeItLooksForSets) {
    add_line("a", 50);
    EXPECT_TRUE(run_on({"a"}));
    EXPECT_THAT(host.calls(),
                ElementsAre("read_number CutoffFrequency", "read_integer Order",
                            "read_string Bandform", "read_number BandWidth", "read_integer Axis",
                            "root_group", "read_string_list SourceSets", "read_string SourceGroup",
                            "read_boolean ScanRecursive", "open_dataset / a", "dataset_is_valid a",
                            "read_float_attribute a SampleRate", "dataset_shape a",
                            "read_samples a [0|50]", "write_samples a [0|50]"));
}

TEST_F(Butterworth, RefusesACutoffThatIsNotPositive) {
    for (const double cutoff : {0.0, -0.0, -1.0, -std::numeric_limits<double>::infinity()}) {
        host.set_parameter("CutoffFrequency", cutoff);
        host.forget_calls();
        expect_refusal("context error: Invalid cutoff frequency");
        EXPECT_THAT(host.calls_of({"read_integer"}), IsEmpty());
    }
}

TEST_F(Butterworth, TakesACutoffThatIsNotANumber) {
    add_line("a", 50);
    host.set_parameter("CutoffFrequency", NaN_DOUBLE);
    EXPECT_TRUE(run_on({"a"}));
    EXPECT_THAT(host.samples("a"), Each(::testing::IsNan()));
}

TEST_F(Butterworth, RefusesAnOrderThatIsNotPositive) {
    for (const std::int64_t order : {std::int64_t{0}, std::int64_t{-4}}) {
        set_integer("Order", order);
        host.forget_calls();
        expect_refusal("context error: Invalid order");
        EXPECT_THAT(host.calls_of({"read_string"}), IsEmpty());
    }
}

TEST_F(Butterworth, TakesTheLowHalfOfTheOrder) {
    for (const std::int64_t order : {std::int64_t{1} << 32, std::int64_t{0x8000'0000}}) {
        set_integer("Order", order); // 0 and the least 32-bit integer
        host.forget_calls();
        expect_refusal("context error: Invalid order");
    }
    add_line("narrow", 50);
    add_line("wide", 50);
    set_integer("Order", std::int64_t{4});
    EXPECT_TRUE(run_on({"narrow"}));
    set_integer("Order", (std::int64_t{7} << 32) + 4);
    EXPECT_TRUE(run_on({"wide"}));
    EXPECT_EQ(host.samples("narrow"), host.samples("wide"));
}

TEST_F(Butterworth, LeavesASetAsItIsWithAnOrderOfOne) {
    add_line("a", 50);
    set_integer("Order", std::int64_t{1});
    EXPECT_TRUE(run_on({"a"}));
    EXPECT_EQ(as_bits(host.samples("a")), as_bits(zigzag(50)));
    EXPECT_THAT(host.calls_of({"write_samples"}), ElementsAre("write_samples a [0|50]"));
}

TEST_F(Butterworth, LosesOneOfAnOddOrder) {
    add_line("even", 50);
    add_line("odd", 50);
    EXPECT_TRUE(run_on({"even"}));
    set_integer("Order", std::int64_t{5});
    EXPECT_TRUE(run_on({"odd"}));
    EXPECT_EQ(host.samples("even"), host.samples("odd"));
}

TEST_F(Butterworth, RefusesAnUnknownBandform) {
    for (const char* const form :
         {"LowPass", "zerolaglowpass", "ZeroLagLowPas", "ZeroLagLowPass ", "", "%s%n"}) {
        host.set_parameter("Bandform", form);
        host.forget_calls();
        expect_refusal("context error: Unknown bandform '" + std::string(form) + "'");
        EXPECT_EQ(host.messages().front().text_template, "Unknown bandform '%s'");
        EXPECT_THAT(host.calls_of({"read_number"}), ElementsAre("read_number CutoffFrequency"));
    }
}

TEST_F(Butterworth, RefusesAHostThatHasNoTextForTheBandform) {
    host.habits().gives_defaults = false;
    expect_refusal("context error: Invalid bandform");
    EXPECT_THAT(host.calls_of({"read_number"}), ElementsAre("read_number CutoffFrequency"));
}

TEST_F(Butterworth, DoesNotRelyOnTheCountOfATextRecord) {
    host.habits().noise_in_text_counts = true;
    add_line("a", 50);
    set_band("ZeroLagHighPass", 0.0);
    EXPECT_TRUE(run_on({"a"}));
    EXPECT_NE(host.samples("a"), zigzag(50));
}

TEST_F(Butterworth, RefusesABandwidthForAFormWithoutABand) {
    for (const char* const form : {"ZeroLagLowPass", "ZeroLagHighPass"}) {
        for (const double width : {2.0, -1.0, NaN_DOUBLE}) {
            set_band(form, width);
            host.forget_calls();
            expect_refusal(NON_BAND_WIDTH);
            EXPECT_THAT(host.calls_of({"read_integer"}), ElementsAre("read_integer Order"));
        }
    }
}

TEST_F(Butterworth, RefusesABandwidthThatIsNotPositiveForAFormWithABand) {
    for (const char* const form : {"ZeroLagBandPass", "ZeroLagBandStop"}) {
        for (const double width : {0.0, -2.0}) {
            set_band(form, width);
            host.forget_calls();
            expect_refusal(MISSING_WIDTH);
        }
    }
}

TEST_F(Butterworth, TakesABandwidthThatIsNotANumberForAFormWithABand) {
    add_line("a", 50);
    set_band("ZeroLagBandPass", NaN_DOUBLE);
    EXPECT_TRUE(run_on({"a"}));
    EXPECT_THAT(host.samples("a"), Each(::testing::IsNan()));
    EXPECT_THAT(host.message_texts(), IsEmpty());
}

TEST_F(Butterworth, TakesANegativeZeroAsNoBandwidth) {
    add_line("a", 50);
    set_band("ZeroLagLowPass", -0.0);
    EXPECT_TRUE(run_on({"a"}));
}

// --- sets and their axes

TEST_F(Butterworth, DoesNothingWithoutASelectedSet) {
    EXPECT_TRUE(run_on({}));
    EXPECT_THAT(host.message_texts(), IsEmpty());
}

TEST_F(Butterworth, ChecksItsParametersAlsoWithoutASelectedSet) {
    set_integer("Order", std::int64_t{0});
    EXPECT_FALSE(run_on({}));
    EXPECT_THAT(host.message_texts(), ElementsAre("context error: Invalid order"));
}

TEST_F(Butterworth, ReportsASelectionThatFails) {
    EXPECT_FALSE(run_on({"nowhere"}));
    EXPECT_THAT(host.message_texts(), ElementsAre("context error: No data set 'nowhere' found"));
}

TEST_F(Butterworth, FiltersEachLineAlongTheLastAxisForAnyNegativeAxis) {
    std::vector<float> samples = zigzag(120);
    add_set("one", {2, 60}, samples);
    add_set("two", {2, 60}, samples);
    add_set("three", {1, 60}, {samples.begin() + 60, samples.end()});
    EXPECT_TRUE(run_on({"one", "three"}));
    set_integer("Axis", std::int64_t{-7});
    EXPECT_TRUE(run_on({"two"}));
    EXPECT_EQ(host.samples("one"), host.samples("two"));
    const std::vector<float>& both = host.samples("one");
    EXPECT_EQ(std::vector<float>(both.begin() + 60, both.end()), host.samples("three"));
}

TEST_F(Butterworth, TakesLinesAsConsecutiveBlocksWhateverTheAxis) {
    const std::vector<float> samples = zigzag(3 * 60);
    add_set("short", {3, 60}, samples);
    add_set("blocks", {60, 3}, samples);
    add_set("lines", {3, 60}, samples);
    set_integer("Axis", std::int64_t{0});
    EXPECT_TRUE(run_on({"short", "blocks"}));
    set_integer("Axis", std::int64_t{1});
    EXPECT_TRUE(run_on({"lines"}));
    EXPECT_EQ(as_bits(host.samples("short")), as_bits(samples)); // blocks of 3 samples
    EXPECT_EQ(host.samples("blocks"), host.samples("lines"));    // both blocks of 60
    EXPECT_NE(host.samples("lines"), samples);
}

TEST_F(Butterworth, RefusesAnAxisBeyondTheDimensionsBeforeAnySampleIsRead) {
    set_integer("Axis", std::int64_t{1});
    expect_refusal(AXIS_ERROR);
}

TEST_F(Butterworth, TakesTheLowHalfOfTheAxis) {
    add_line("a", 50);
    set_integer("Axis", std::int64_t{1} << 32); // axis 0
    EXPECT_TRUE(run_on({"a"}));
    EXPECT_NE(host.samples("a"), zigzag(50));
    set_integer("Axis", std::int64_t{0xFFFF'FFFF}); // -1, the last one
    EXPECT_TRUE(run_on({"a"}));
}

TEST_F(Butterworth, ChecksTheRateOfASetBeforeItsAxis) {
    add_line("good", 50);
    add_line("bad", 50, 0);
    set_integer("Axis", std::int64_t{5});
    EXPECT_FALSE(run_on({"bad", "good"}));
    EXPECT_FALSE(run_on({"good", "bad"}));
    EXPECT_THAT(host.message_texts(), ElementsAre(RATE_ERROR, AXIS_ERROR));
}

TEST_F(Butterworth, RefusesARateThatIsNotPositive) {
    add_line("good", 50);
    add_line("bad", 50);
    for (const float rate : {0.0F, -0.0F, -100.0F}) {
        host.forget_calls();
        host.dataset("bad").attribute_float("SampleRate", rate);
        EXPECT_FALSE(run_on({"good", "bad"}));
        EXPECT_THAT(host.message_texts(), ElementsAre(RATE_ERROR));
        EXPECT_EQ(host.samples("good"), zigzag(50));
    }
}

TEST_F(Butterworth, RefusesASetWithoutARate) {
    host.dataset("a", {50}, zigzag(50));
    EXPECT_FALSE(run_on({"a"}));
    EXPECT_THAT(host.message_texts(), ElementsAre(RATE_ERROR));
}

TEST_F(Butterworth, RefusesAnInfinitelyNegativeRateAfterWarningOfIt) {
    add_line("a", 50, -INF);
    EXPECT_FALSE(run_on({"a"}));
    EXPECT_THAT(host.message_texts(), ElementsAre(UNUSABLE_RATE, RATE_ERROR));
}

class ButterworthOfUnusableRate : public Butterworth,
                                  public ::testing::WithParamInterface<float> {};

TEST_P(ButterworthOfUnusableRate, FillsTheSetAndFiltersItsNeighbours) {
    add_line("first", 50);
    add_line("unusable", 4, GetParam());
    add_line("last", 50);
    EXPECT_TRUE(run_on({"first", "unusable", "last"}));
    EXPECT_THAT(host.message_texts(), ElementsAre(UNUSABLE_RATE));
    EXPECT_THAT(as_bits(host.samples("unusable")), Each(MISSING_BITS));
    EXPECT_NE(host.samples("first"), zigzag(50));
    EXPECT_EQ(host.samples("first"), host.samples("last"));
}

INSTANTIATE_TEST_SUITE_P(Rates, ButterworthOfUnusableRate, ::testing::Values(NaN, INF),
                         [](const auto& test) { return test.index == 0 ? "NaN" : "Infinity"; });

TEST_F(Butterworth, DesignsAFilterForEachRate) {
    add_line("slow", 80, 100);
    add_line("slow too", 80, 100);
    add_line("fast", 80, 200);
    EXPECT_TRUE(run_on({"slow", "fast", "slow too"}));
    EXPECT_EQ(host.samples("slow"), host.samples("slow too"));
    EXPECT_NE(host.samples("slow"), host.samples("fast"));
}

TEST_F(Butterworth, PassesOverASetOfRankZero) {
    host.dataset("point", {}, {1.0F}).attribute_float("SampleRate", 100);
    add_line("a", 50);
    EXPECT_TRUE(run_on({"point", "a"}));
    EXPECT_THAT(host.calls_of({"read_samples"}), ElementsAre("read_samples a [0|50]"));
}

TEST_F(Butterworth, TakesSetsWithoutSamples) {
    add_set("empty", {3, 0}, {});
    add_set("no lines", {0, 50}, {});
    EXPECT_TRUE(run_on({"empty", "no lines"}));
    EXPECT_THAT(host.message_texts(), IsEmpty());
}

// --- runs of valid samples

// A line with values at 5 + 100 samples between missing ones; three coefficients ask for
// runs of 8 samples or more.
TEST_F(Butterworth, FiltersLongRunsAndDropsWhatLiesOutsideThem) {
    std::vector<float> samples = zigzag(108);
    samples[0] = samples[6] = samples[107] = NaN;
    add_set("a", {108}, samples);
    add_set("run", {100}, {samples.begin() + 7, samples.begin() + 107});
    EXPECT_TRUE(run_on({"a", "run"}));
    const std::vector<float>& filtered = host.samples("a");
    EXPECT_THAT(as_bits({filtered.begin(), filtered.begin() + 7}), Each(MISSING_BITS));
    EXPECT_EQ(bits(filtered[107]), MISSING_BITS);
    EXPECT_EQ(std::vector<float>(filtered.begin() + 7, filtered.begin() + 107),
              host.samples("run"));
}

TEST_F(Butterworth, LeavesALineWithoutALongRun) {
    std::vector<float> samples = zigzag(15);
    samples[7] = NaN; // two runs of 7
    add_set("short", {15}, samples);
    add_set("missing", {20}, std::vector<float>(20, NaN));
    EXPECT_TRUE(run_on({"short", "missing"}));
    EXPECT_EQ(as_bits(host.samples("short")), as_bits(samples));
    EXPECT_THAT(as_bits(host.samples("missing")), Each(bits(NaN)));
}

TEST_F(Butterworth, FiltersARunOfExactlyTheLeastLength) {
    std::vector<float> samples = zigzag(9);
    samples[8] = NaN; // a run of 8
    add_set("a", {9}, samples);
    EXPECT_TRUE(run_on({"a"}));
    EXPECT_NE(host.samples("a")[3], samples[3]);
    EXPECT_EQ(bits(host.samples("a")[8]), MISSING_BITS);
}

// --- batches

TEST_F(Butterworth, ReadsABatchWholeBeforeItWrites) {
    add_line("a", 40);
    add_line("b", 50);
    EXPECT_TRUE(run_on({"a", "b"}));
    EXPECT_THAT(host.calls_of({"read_samples", "write_samples"}),
                ElementsAre("read_samples a [0|40]", "read_samples b [0|50]",
                            "write_samples a [0|40]", "write_samples b [0|50]"));
}

TEST_F(Butterworth, BeginsABatchWithTheFirstSetBeyondTheLimit) {
    std::vector<float> large(10'000'001, 1.0F);
    add_set("large", {large.size()}, large);
    add_line("small", 50);
    add_line("alone", 50);
    EXPECT_TRUE(run_on({"large", "small"}));
    EXPECT_THAT(host.calls_of({"read_samples", "write_samples"}),
                ElementsAre("read_samples large [0|10000001]", "write_samples large [0|10000001]",
                            "read_samples small [0|50]", "write_samples small [0|50]"));
    EXPECT_TRUE(run_on({"alone"}));
    EXPECT_EQ(host.samples("small"), host.samples("alone"));
}

} // namespace
} // namespace talvora::test_support
