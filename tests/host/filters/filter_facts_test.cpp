#include "host/filters/filter_facts.h"
#include "host/text/failure.h"
#include "tests/support/special_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <sstream>

namespace talvora::host {
namespace {

using testing::DoubleNear;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Property;
using testing::SizeIs;
using testing::ThrowsMessage;

FilterFacts facts_of(std::string_view form, double cutoff, std::int32_t order,
                     double bandwidth = 0.0, float rate = 1000.0F) {
    return find_facts({cutoff, order, bandwidth, find_bandform(form)}, rate);
}

// ---------------------------------------------------------------------------
// The edges that tests/golden/make_filter_edges_golden.py found with SciPy

struct GoldenEdges {
    std::string line;
    FilterFacts facts;
    std::vector<double> points;
};

std::vector<GoldenEdges> read_golden_edges() {
    std::ifstream file(TALVORA_GOLDEN_DIR "/filter_edges.txt");
    std::vector<GoldenEdges> all;
    std::string line;
    while (std::getline(file, line)) {
        std::istringstream words(line);
        std::string form;
        float rate = 0.0F;
        ButterworthParameters parameters;
        words >> form >> rate >> parameters.cutoff >> parameters.order >> parameters.bandwidth;
        parameters.bandform = find_bandform(form);
        all.push_back(
            {line, find_facts(parameters, rate), {std::istream_iterator<double>(words), {}}});
    }
    return all;
}

TEST(FilterFacts, FindTheEdgesThatSciPyFinds) {
    const std::vector<GoldenEdges> all = read_golden_edges();
    ASSERT_THAT(all, SizeIs(560));
    for (const auto& [line, facts, points] : all) {
        EXPECT_EQ(facts.state, FilterState::Useful) << line;
        ASSERT_THAT(facts.three_db_points, SizeIs(points.size())) << line;
        for (std::size_t i = 0; i < points.size(); ++i) {
            // Coefficients of polynomials have fewer digits than SciPy's sections: an edge of
            // order 8 at a fiftieth of the rate moves by 5e-6.
            EXPECT_NEAR(facts.three_db_points[i] / points[i], 1.0, 1e-5) << line;
        }
    }
}

// ---------------------------------------------------------------------------

TEST(FilterFacts, TellThePassOrderAndTheEdgesOfOnePass) {
    // 1 / (sqrt(2) - 1)^(1/4) = 1.246504702770927
    const FilterFacts facts = facts_of("ZeroLagBandStop", 50, 5, 20);
    EXPECT_EQ(facts.design.pass_order, 2);
    EXPECT_THAT(facts.design.suggested_edges, ElementsAre(40.0, 60.0));
    EXPECT_THAT(facts.design.corrected_edges, ElementsAre(DoubleNear(49.86018811083708, 1e-12),
                                                          DoubleNear(74.79028216625562, 1e-12)));
}

TEST(FilterFacts, FindANotchThatIsNarrowerThanTheStepsOfTheSearch) {
    // From the closed form of the analogue filter, as docs/numerics.md gives it: the points are
    // u(x) with x1 x2 = t0 t1 and x2 - x1 = (t1 - t0) / c; worked with Python's math.
    const FilterFacts facts = facts_of("ZeroLagBandStop", 100, 4, 0.01);
    EXPECT_THAT(facts.three_db_points,
                ElementsAre(DoubleNear(124.6427008, 1e-6), DoubleNear(124.6582388, 1e-6)));
}

TEST(FilterFacts, FindABandThatIsNarrowerThanTheStepsOfTheSearch) {
    const FilterFacts facts = choose_filter(Bandform::ZeroLagBandPass, 4, {100.0, 100.01}, 1000.0F);
    EXPECT_THAT(facts.three_db_points,
                ElementsAre(DoubleNear(100.0, 1e-6), DoubleNear(100.01, 1e-6)));
}

TEST(FilterFacts, GiveNoEdgesToAFilterThatChangesNothing) {
    const FilterFacts facts = facts_of("ZeroLagLowPass", 50, 1);
    EXPECT_EQ(facts.state, FilterState::Neutral);
    EXPECT_THAT(facts.three_db_points, IsEmpty());
    EXPECT_EQ(two_pass_gain(facts.design, 300), 1.0);
}

TEST(FilterFacts, KnowAnUnstableFilter) {
    // An edge at 0.6 of the rate: tan is negative there, and the poles leave the circle.
    EXPECT_EQ(facts_of("ZeroLagLowPass", 481.3, 4).state, FilterState::Unstable);
    // More digits than double has: numpy.roots(a) has a root of modulus above 1.
    EXPECT_EQ(facts_of("ZeroLagLowPass", 0.5, 16, 0, 360.0F).state, FilterState::Unstable);
    EXPECT_EQ(facts_of("ZeroLagLowPass", 0.5, 10, 0, 360.0F).state, FilterState::Useful);
}

TEST(FilterFacts, KnowAFilterOfNoNumbers) {
    EXPECT_EQ(facts_of("ZeroLagLowPass", NaN_DOUBLE, 4).state, FilterState::NotFinite);
    EXPECT_EQ(facts_of("ZeroLagLowPass", 50, 2000).state, FilterState::NotFinite);
}

// ---------------------------------------------------------------------------
// Warnings

struct WarningCase {
    const char* form;
    double cutoff;
    std::int32_t order;
    double bandwidth;
    std::string text;   // part of it; empty: no warning
    std::string choice; // part of it; empty: none
};

const WarningCase WARNING_CASES[] = {
    {"ZeroLagLowPass", 10, 4, 0, "", ""},
    {"ZeroLagLowPass", 200, 4, 0, "3 dB down at 214.53 Hz; the parameters suggest 200 Hz",
     "talvora-host design ZeroLagLowPass --edge 200 --rate 1000 --order 4"},
    {"ZeroLagHighPass", 50, 4, 0, "at 1000 Hz both passes together are 3 dB down at 77.1",
     "--edge 50 "},
    {"ZeroLagBandPass", 50, 4, 20,
     "3 dB down at 17.8924 and 188.313 Hz; the parameters suggest 40 "
     "and 60 Hz",
     "ZeroLagBandPass --edge 40 --edge 60 --rate 1000 --order 4"},
    {"ZeroLagBandStop", 50, 8, 20, "3 dB down at 48.7", "ZeroLagBandStop --edge 40 --edge 60"},
    {"ZeroLagLowPass", 400, 4, 0, "3 dB down at", "--edge 400"},
    {"ZeroLagLowPass", 402, 4, 0,
     "the edge at 402 Hz, moved to 501.095 Hz for two passes, is not "
     "below half the rate, 500 Hz; the unit takes it as it comes",
     ""},
    {"ZeroLagHighPass", 500, 4, 0, "the edge at 500 Hz is not below half the rate, 500 Hz", ""},
    {"ZeroLagBandStop", 395, 4, 20, "the edge at 405 Hz, moved to", ""},
    {"ZeroLagBandPass", 10, 4, 20, "the lower edge, 0 Hz, is not above 0", ""},
    {"ZeroLagBandPass", 10, 4, 30, "the lower edge, -5 Hz, is not above 0", ""},
    {"ZeroLagLowPass", NaN_DOUBLE, 4, 0, "the lower edge, nan Hz, is not above 0", ""},
    {"ZeroLagLowPass", 50, 1, 0, "the filter is of order 0 in each pass", ""},
    {"ZeroLagLowPass", 1, 20, 0, "the filter is unstable", ""},
};

TEST(FilterWarnings, TellWhatTheParametersDoNotSuggest) {
    for (const WarningCase& row : WARNING_CASES) {
        const auto warnings =
            find_warnings(facts_of(row.form, row.cutoff, row.order, row.bandwidth));
        const std::string what = std::string(row.form) + " " + std::to_string(row.cutoff);
        ASSERT_THAT(warnings, SizeIs(row.text.empty() ? 0 : 1)) << what;
        for (const FilterWarning& warning : warnings) {
            EXPECT_THAT(warning.text, HasSubstr(row.text)) << what;
            EXPECT_THAT(warning.choice, HasSubstr(row.choice)) << what;
            EXPECT_EQ(warning.choice.empty(), row.choice.empty()) << what;
        }
    }
}

// A low pass has a gain of 1 at 0 Hz, whatever its order.
TEST(FilterWarnings, TellOfDigitsThatAreShort) {
    const auto warnings = find_warnings(facts_of("ZeroLagLowPass", 0.12, 8, 0));
    ASSERT_THAT(warnings, SizeIs(2));
    EXPECT_THAT(warnings[0].text,
                HasSubstr("order 8 takes most digits of the coefficients: at 0 Hz, where the gain "
                          "should be 1, it is 0.998"));
    EXPECT_THAT(find_warnings(facts_of("ZeroLagLowPass", 0.12, 4, 0)), SizeIs(0));
}

TEST(FilterWarnings, GoWithTheCommandThatTellsMore) {
    EXPECT_EQ(
        make_design_command(facts_of("ZeroLagBandStop", 50, 4, 20.5).design),
        "talvora-host design ZeroLagBandStop CutoffFrequency=50 Order=4 BandWidth=20.5 --rate "
        "1000");
}

TEST(FilterWarnings, NameARateAsItWasGiven) {
    EXPECT_THAT(find_warnings(facts_of("ZeroLagHighPass", 5, 4, 0, 100.1F)).at(0).text,
                HasSubstr("at 100.1 Hz "));
}

// ---------------------------------------------------------------------------
// Wanted edges

TEST(FilterChoice, PutsTheEdgesOfTheResponseWhereTheyAreWanted) {
    const std::vector<std::vector<double>> parts = {{0.02}, {0.05}, {0.25}, {0.48}};
    const std::vector<std::vector<double>> bands = {{0.04, 0.06}, {0.1, 0.16}, {0.03, 0.48}};
    for (const auto& [name, form] : dsp::BANDFORMS) {
        for (const auto& edges_of_one : count_edges(form) == 1 ? parts : bands) {
            for (std::int32_t order = 2; order <= 8; ++order) {
                for (const float rate : {100.0F, 360.0F, 1000.0F, 10000.0F}) {
                    std::vector<double> edges;
                    for (const double part : edges_of_one) {
                        edges.push_back(part * static_cast<double>(rate));
                    }
                    const auto chosen = choose_parameters(form, order, edges, rate);
                    const FilterDesign design = design_filter(chosen, rate);
                    for (const double edge : edges) {
                        EXPECT_NEAR(two_pass_gain(design, edge), std::sqrt(0.5), 1e-6)
                            << name << " " << order << " " << edge << " of " << rate;
                    }
                }
            }
        }
    }
}

// Worked by hand in docs/numerics.md.
TEST(FilterChoice, GivesTheParametersOfTheTable) {
    const auto lowpass = choose_filter(Bandform::ZeroLagLowPass, 4, {50}, 1000.0F);
    EXPECT_NEAR(lowpass.design.parameters.cutoff, 49.775, 5e-4);
    const auto highpass = choose_filter(Bandform::ZeroLagHighPass, 4, {50}, 1000.0F);
    EXPECT_NEAR(highpass.design.parameters.cutoff, 32.274, 5e-4);
    const auto bandpass = choose_filter(Bandform::ZeroLagBandPass, 4, {40, 60}, 1000.0F);
    EXPECT_NEAR(bandpass.design.parameters.cutoff, 90.581, 5e-4);
    EXPECT_NEAR(bandpass.design.parameters.bandwidth, 165.934, 5e-4);
    const auto bandstop = choose_filter(Bandform::ZeroLagBandStop, 4, {40, 60}, 1000.0F);
    EXPECT_NEAR(bandstop.design.parameters.cutoff, 39.835, 5e-4);
    EXPECT_NEAR(bandstop.design.parameters.bandwidth, 12.878, 5e-4);
}

struct Refusal {
    Bandform bandform;
    std::int64_t order;
    std::vector<double> edges;
    std::string text;
};

const Refusal REFUSALS[] = {
    {Bandform::ZeroLagLowPass, 4, {}, "ZeroLagLowPass has one edge, 0 given"},
    {Bandform::ZeroLagLowPass, 4, {10, 20}, "ZeroLagLowPass has one edge, 2 given"},
    {Bandform::ZeroLagBandStop, 4, {10}, "ZeroLagBandStop has two edges, 1 given"},
    {Bandform::ZeroLagHighPass, 4, {500}, "an edge of 500 Hz cannot be had at 1000 Hz"},
    {Bandform::ZeroLagHighPass, 4, {0}, "an edge of 0 Hz cannot be had"},
    {Bandform::ZeroLagHighPass, 4, {NaN_DOUBLE}, "an edge of nan Hz cannot be had"},
    {Bandform::ZeroLagBandPass, 4, {60, 40}, "the edges 60 and 40 Hz are not ascending"},
    {Bandform::ZeroLagBandPass, 4, {40, 40}, "the edges 40 and 40 Hz are not ascending"},
    {Bandform::ZeroLagLowPass, 1, {50}, "an order of 1 has no edges"},
    {Bandform::ZeroLagLowPass, -4, {50}, "an order of -4 has no edges"},
    {Bandform::ZeroLagLowPass, 4'294'967'300, {50}, "an order of 4294967300 has no edges"},
    {Bandform::ZeroLagLowPass, 20, {1}, "order 20 asks for more digits than the coefficients have"},
};

TEST(FilterChoice, RefusesWhatCannotBeHad) {
    for (const Refusal& refusal : REFUSALS) {
        EXPECT_THAT([&] { choose_filter(refusal.bandform, refusal.order, refusal.edges, 1000.0F); },
                    ThrowsMessage<Failure>(HasSubstr(refusal.text)));
    }
}

TEST(FilterChoice, NamesTheNearestBandForm) {
    EXPECT_EQ(find_bandform("ZeroLagBandStop"), Bandform::ZeroLagBandStop);
    EXPECT_THAT([] { find_bandform("zerolaglowpas"); },
                testing::Throws<Failure>(
                    Property(&Failure::hints, ElementsAre("did you mean 'ZeroLagLowPass'?"))));
}

} // namespace
} // namespace talvora::host
