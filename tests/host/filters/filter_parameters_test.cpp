#include "host/filters/filter_parameters.h"

#include <gtest/gtest.h>

namespace talvora::host {
namespace {

using namespace std::string_literals;

// As the unit declares them.
ParameterValues give(ParameterValues::Given given) {
    std::vector<ParameterSignature> signatures;
    for (const char* text : {"CutoffFrequency: number", "Order: integer",
                             "Bandform: string = \"ZeroLagLowPass\"", "BandWidth: number = 0.0"}) {
        signatures.push_back(parse_signature(text, false));
    }
    return {signatures, std::move(given)};
}

TEST(FilterParameters, AreReadWithTheDeclaredDefaults) {
    const auto parameters =
        read_filter(give({{"CutoffFrequency", 12.5}, {"Order", std::int64_t{4}}}));
    ASSERT_TRUE(parameters);
    EXPECT_EQ(parameters->cutoff, 12.5);
    EXPECT_EQ(parameters->order, 4);
    EXPECT_EQ(parameters->bandwidth, 0.0);
    EXPECT_EQ(parameters->bandform, Bandform::ZeroLagLowPass);
}

TEST(FilterParameters, HaveTheLow32BitsOfTheOrder) {
    const auto parameters =
        read_filter(give({{"CutoffFrequency", 1.0}, {"Order", std::int64_t{4'294'967'300}}}));
    ASSERT_TRUE(parameters);
    EXPECT_EQ(parameters->order, 4);
}

TEST(FilterParameters, AreNoneWhereOneIsMissingOrOfAnotherType) {
    EXPECT_FALSE(read_filter({}));
    EXPECT_FALSE(read_filter(give({{"CutoffFrequency", 1.0}})));
    EXPECT_FALSE(read_filter(give({{"CutoffFrequency", 1.0}, {"Order", 4.0}})));
    EXPECT_FALSE(read_filter(give(
        {{"CutoffFrequency", 1.0}, {"Order", std::int64_t{4}}, {"Bandform", "zerolaglowpass"s}})));
}

TEST(FilterParameters, AreWrittenAsWordsWithAllTheirDigits) {
    EXPECT_EQ(format_parameters({49.77512345678901, 4, 0.0, Bandform::ZeroLagLowPass}),
              "Bandform=ZeroLagLowPass CutoffFrequency=49.77512345678901 Order=4");
    EXPECT_EQ(format_parameters({50, 8, 20.5, Bandform::ZeroLagBandStop}),
              "Bandform=ZeroLagBandStop CutoffFrequency=50 Order=8 BandWidth=20.5");
}

} // namespace
} // namespace talvora::host
