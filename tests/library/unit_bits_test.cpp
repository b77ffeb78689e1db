// The library's results for floats next to those of the built plug-in, bit for bit.
#include "tests/library/calls.h"
#include "tests/support/recording_host.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace talvora::library_test {
namespace {

using test_support::RecordingHost;
using test_support::Texts;

constexpr float GAP = std::numeric_limits<float>::quiet_NaN();

// Lines with gaps at the ends and within, one without any and one with nothing else.
std::vector<float> lines_with_gaps() {
    std::vector<float> samples = zigzag<float>(600);
    for (const std::size_t missing : {0U, 1U, 50U, 51U, 52U, 90U, 119U, 130U, 300U, 301U, 477U}) {
        samples[missing] = GAP;
    }
    std::fill(samples.begin() + 480, samples.end(), GAP);
    return samples;
}

struct Form {
    const char* name;
    talvora_butterworth_design design;
};

const Form FORMS[] = {
    {"ZeroLagLowPass", {sizeof(talvora_butterworth_design), TALVORA_LOW_PASS, 4, 100.1, 6.0, 0}},
    {"ZeroLagHighPass", {sizeof(talvora_butterworth_design), TALVORA_HIGH_PASS, 5, 100.1, 9.0, 0}},
    {"ZeroLagBandPass",
     {sizeof(talvora_butterworth_design), TALVORA_BAND_PASS, 4, 200.0, 20.0, 30.0}},
    {"ZeroLagBandStop",
     {sizeof(talvora_butterworth_design), TALVORA_BAND_STOP, 6, 360.0, 50.0, 12.0}},
};

std::vector<float> filter_by_unit(const Form& form, const std::vector<float>& samples) {
    RecordingHost host;
    host.dataset("a", {5, 120}, samples)
        .attribute_float("SampleRate", static_cast<float>(form.design.rate));
    host.set_parameter("SourceSets", Texts{"a"});
    host.set_parameter("CutoffFrequency", form.design.cutoff);
    host.set_parameter("Order", std::int64_t{form.design.order});
    host.set_parameter("Bandform", form.name);
    host.set_parameter("BandWidth", form.design.bandwidth);
    EXPECT_TRUE(host.run("orvane.signal.apply-set-butterworth"));
    return host.samples("a");
}

TEST(Bits, OfTheButterworthFilterAreTheUnits) {
    const std::vector<float> samples = lines_with_gaps();
    for (const Form& form : FORMS) {
        SCOPED_TRACE(form.name);
        std::vector<float> out(samples.size());
        const Array from(samples.data(), {5, 120});
        const Array to(out.data(), {5, 120});
        const talvora_filter_options options = default_options();
        EXPECT_EQ(outcome_of([&](char* error, std::size_t size) {
                      return talvora_butterworth(&form.design, from.get(), to.get(), &options,
                                                 error, size);
                  }),
                  DONE);
        const std::vector<float> expected = filter_by_unit(form, samples);
        EXPECT_FALSE(same_bytes(expected, samples));
        EXPECT_TRUE(same_bytes(out, expected));
    }
}

std::vector<float> fill_by_unit(const std::vector<float>& samples, std::int64_t max_length) {
    RecordingHost host;
    host.dataset("a", {5, 120}, samples).attribute_float("SampleRate", 100);
    host.set_parameter("SourceSets", Texts{"a"});
    host.set_parameter("MaxGapLength", max_length == 0 ? std::int64_t{-1} : max_length);
    EXPECT_TRUE(host.run("orvane.signal.apply-set-fill-gap"));
    return host.samples("a");
}

TEST(Bits, OfFilledGapsAreTheUnits) {
    const std::vector<float> samples = lines_with_gaps();
    for (const std::int64_t max_length : {0, 1, 2}) {
        SCOPED_TRACE(max_length);
        std::vector<float> out(samples.size());
        const Array from(samples.data(), {5, 120});
        const Array to(out.data(), {5, 120});
        const talvora_filter_options options = default_options();
        EXPECT_EQ(talvora_fill_gaps(from.get(), to.get(), max_length, &options, nullptr, 0),
                  TALVORA_OK);
        const std::vector<float> expected = fill_by_unit(samples, max_length);
        EXPECT_FALSE(same_bytes(expected, samples));
        EXPECT_TRUE(same_bytes(out, expected));
    }
}

} // namespace
} // namespace talvora::library_test
