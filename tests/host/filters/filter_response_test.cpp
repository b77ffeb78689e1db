#include "host/filters/filter_response.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace talvora::host {
namespace {

using testing::DoubleNear;
using testing::ElementsAre;
using testing::IsEmpty;

const ButterworthParameters HIGH_PASS = {50.0, 4, 0.0, Bandform::ZeroLagHighPass};

std::vector<double> list_frequencies(const std::vector<ResponseRow>& rows) {
    std::vector<double> frequencies;
    for (const ResponseRow& row : rows) {
        frequencies.push_back(row.frequency);
    }
    return frequencies;
}

TEST(FilterResponse, HasRowsAtRoundFrequenciesAndEdges) {
    EXPECT_THAT(list_frequencies(tabulate_response(find_facts(HIGH_PASS, 1000.0F))),
                ElementsAre(1, 2, 5, 10, 20, 50, DoubleNear(77.15, 0.005), 100, 200, 500));
}

TEST(FilterResponse, HasOneRowForAnEdgeAtARoundFrequency) {
    const auto facts = choose_filter(Bandform::ZeroLagBandStop, 4, {20, 50}, 400.0F);
    EXPECT_THAT(list_frequencies(tabulate_response(facts)),
                ElementsAre(1, 2, 5, 10, DoubleNear(20, 1e-5), DoubleNear(50, 1e-5), 100, 200));
}

TEST(FilterResponse, TellsTheGainOfBothPasses) {
    // From the analogue filter: x = c tan(pi 77.15 / 1000) / tan(pi f / 1000) for the 3 dB point
    // at 77.1499 Hz, gain 1 / (1 + x^4); worked with Python's math.
    const auto rows = tabulate_response(find_facts(HIGH_PASS, 1000.0F));
    EXPECT_NEAR(rows[5].gain, 0.289079, 1e-6);
    EXPECT_NEAR(rows[5].decibels, -10.780, 1e-3);
    EXPECT_NEAR(rows[6].decibels, -3.0103, 1e-4);
}

TEST(FilterResponse, IsEmptyForAFilterOfNoUse) {
    EXPECT_THAT(tabulate_response(find_facts({450.0, 4, 0.0, Bandform::ZeroLagLowPass}, 1000.0F)),
                IsEmpty());
}

TEST(FilterResponse, IsDrawnWithAGuideAtEachEdge) {
    const Figure figure =
        make_response_figure(find_facts({50.0, 4, 20.0, Bandform::ZeroLagBandPass}, 1000.0F));
    EXPECT_EQ(figure.title, "ZeroLagBandPass, order 4, at 1000 Hz");
    ASSERT_EQ(figure.panels.size(), 1U);
    const auto& lines = figure.panels[0].lines;
    EXPECT_EQ(std::ranges::count(lines, true, &FigureLine::is_guide), 3);
    EXPECT_NEAR(lines[1].points[0].x, 17.8924, 1e-4);
    EXPECT_NEAR(lines[2].points[0].x, 188.313, 1e-3);
}

} // namespace
} // namespace talvora::host
