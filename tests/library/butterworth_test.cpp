#include "tests/library/calls.h"
#include "tests/support/special_values.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <functional>
#include <numbers>
#include <string>
#include <vector>

namespace talvora::library_test {
namespace {

talvora_butterworth_design low_pass(double cutoff) {
    return {sizeof(talvora_butterworth_design), TALVORA_LOW_PASS, 4, 1000.0, cutoff, 0.0};
}

Outcome find_cutoff(talvora_butterworth_design& design, const std::vector<double>& edges) {
    return outcome_of([&](char* error, std::size_t size) {
        return talvora_find_cutoff(&design, edges.data(), edges.size(), error, size);
    });
}

struct Designed {
    Outcome outcome;
    Filter filter;
};

Designed design_filter(const talvora_butterworth_design& design) {
    Designed made{{}, {std::vector<double>(16), std::vector<double>(16)}};
    std::size_t count = 0;
    made.outcome = outcome_of([&](char* error, std::size_t size) {
        return talvora_design_butterworth(&design, made.filter.b.data(), made.filter.a.data(), 16,
                                          &count, error, size);
    });
    made.filter.b.resize(count);
    made.filter.a.resize(count);
    return made;
}

// Of both passes together.
double gain_of(const Filter& filter, double frequency, double rate) {
    const auto value_of = [&](const std::vector<double>& polynomial) {
        std::complex<double> sum;
        for (std::size_t i = 0; i < polynomial.size(); ++i) {
            sum += polynomial[i] * std::polar(1.0, -2.0 * std::numbers::pi * frequency / rate *
                                                       static_cast<double>(i));
        }
        return std::norm(sum);
    };
    return value_of(filter.b) / value_of(filter.a);
}

// scipy.signal.butter(2, 2 * 40 * (2 ** 0.5 - 1) ** -0.25 / 1000)
TEST(ButterworthDesign, IsSciPysAtTheCorrectedEdge) {
    const Designed made = design_filter(low_pass(40.0));
    EXPECT_EQ(made.outcome, DONE);
    const Filter expected = {{0.019981814816993092, 0.039963629633986184, 0.019981814816993092},
                             {1.0, -1.5622205501144528, 0.6421478093824251}};
    ASSERT_EQ(made.filter.b.size(), 3U);
    ASSERT_EQ(made.filter.a.size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(made.filter.b[i], expected.b[i], 1e-14) << i;
        EXPECT_NEAR(made.filter.a[i], expected.a[i], 1e-13) << i;
    }
}

struct Edges {
    talvora_form form;
    std::vector<double> edges;
};

const Edges FORMS[] = {{TALVORA_LOW_PASS, {40.0}},
                       {TALVORA_HIGH_PASS, {40.0}},
                       {TALVORA_BAND_PASS, {20.0, 450.0}},
                       {TALVORA_BAND_STOP, {48.0, 52.0}}};

TEST(ButterworthEdges, AreThreeDecibelsDownAfterBothPasses) {
    for (const Edges& wanted : FORMS) {
        for (const std::int32_t order : {2, 4, 5, 6}) {
            SCOPED_TRACE(std::to_string(wanted.form) + " " + std::to_string(order));
            talvora_butterworth_design design = low_pass(0.0);
            design.form = wanted.form;
            design.order = order;
            EXPECT_EQ(find_cutoff(design, wanted.edges), DONE);
            const Designed made = design_filter(design);
            EXPECT_EQ(made.outcome, DONE);
            for (const double edge : wanted.edges) {
                EXPECT_NEAR(gain_of(made.filter, edge, 1000.0), std::sqrt(0.5), 1e-6);
            }
        }
    }
}

TEST(ButterworthFilter, IsFiltfiltByItsCoefficients) {
    const talvora_butterworth_design design = low_pass(40.0);
    const std::vector<float> samples = zigzag<float>(200);
    std::vector<float> out(200);
    const Array from(samples.data(), {2, 100});
    const Array to(out.data(), {2, 100});
    const talvora_filter_options options = default_options();
    EXPECT_EQ(outcome_of([&](char* error, std::size_t size) {
                  return talvora_butterworth(&design, from.get(), to.get(), &options, error, size);
              }),
              DONE);
    EXPECT_EQ(out, filtered(design_filter(design).filter, samples, 100));
}

struct Fault {
    std::function<void(talvora_butterworth_design&)> spoil;
    std::string text;
};

const Fault FAULTS[] = {
    {[](auto& design) { design.struct_size = 8; },
     "struct_size of the design is 8; set it to sizeof the structure, 40 here"},
    {[](auto& design) { design.form = 4; },
     "form is 4; allowed are TALVORA_LOW_PASS (0), TALVORA_HIGH_PASS (1), TALVORA_BAND_PASS (2) "
     "and TALVORA_BAND_STOP (3)"},
    {[](auto& design) { design.order = 1; },
     "order is 1; allowed are 2, one for each pass, and more"},
    {[](auto& design) { design.rate = 0.0; },
     "rate is 0 Hz; allowed are numbers above 0 that a float can hold"},
    {[](auto& design) { design.rate = 1e39; },
     "rate is 1e+39 Hz; allowed are numbers above 0 that a float can hold"},
    {[](auto& design) { design.rate = NaN_DOUBLE; },
     "rate is nan Hz; allowed are numbers above 0 that a float can hold"},
    {[](auto& design) { design.cutoff = -6.0; }, "cutoff is -6 Hz; allowed are numbers above 0"},
    {[](auto& design) { design.bandwidth = 2.0; },
     "bandwidth is 2 Hz; a low or high pass has none: 0"},
    {[](auto& design) { design.form = TALVORA_BAND_PASS; },
     "bandwidth is 0 Hz; allowed are numbers above 0"},
};

TEST(ButterworthDesign, RefusesWhatIsNone) {
    for (const Fault& fault : FAULTS) {
        talvora_butterworth_design design = low_pass(40.0);
        fault.spoil(design);
        EXPECT_EQ(design_filter(design).outcome, (Outcome{TALVORA_INVALID_ARGUMENT, fault.text}));
    }
}

TEST(ButterworthDesign, RefusesAFilterThatWouldNotBeWhatItIsAskedToBe) {
    const Outcome beyond = design_filter(low_pass(600.0)).outcome;
    EXPECT_EQ(beyond, (Outcome{TALVORA_INVALID_ARGUMENT,
                               "at a rate of 1000 Hz the edge at 600 Hz is not below half the "
                               "rate, 500 Hz (allowed here: cutoff above 0 and below 401.122)"}));
    talvora_butterworth_design wide = low_pass(5.0);
    wide.form = TALVORA_BAND_PASS;
    wide.bandwidth = 10.0;
    EXPECT_EQ(design_filter(wide).outcome.text,
              "at a rate of 1000 Hz the lower edge, 0 Hz, is not above 0 (allowed here: cutoff - "
              "bandwidth / 2 above 0, and cutoff + bandwidth / 2 below 401.122)");
    talvora_butterworth_design steep = low_pass(0.5);
    steep.order = 40;
    const Outcome of_steep = design_filter(steep).outcome;
    EXPECT_EQ(of_steep.status, TALVORA_INVALID_ARGUMENT);
    EXPECT_NE(of_steep.text.find("(allowed here: order from 2 to "), std::string::npos)
        << of_steep.text;
}

TEST(ButterworthDesign, TellsHowManyCoefficientsThereAre) {
    const talvora_butterworth_design design = low_pass(40.0);
    double b[2] = {-1, -1};
    double a[2] = {-1, -1};
    std::size_t count = 0;
    EXPECT_EQ(
        outcome_of([&](char* error, std::size_t size) {
            return talvora_design_butterworth(&design, b, a, 2, &count, error, size);
        }),
        (Outcome{TALVORA_INVALID_ARGUMENT, "the capacity is 2; the filter has 3 coefficients"}));
    EXPECT_EQ(count, 3U);
    EXPECT_EQ(b[0], -1);
    EXPECT_EQ(a[0], -1);
}

TEST(ButterworthEdges, AreRefusedWhereNoFilterHasThem) {
    const auto refusal_of = [](talvora_form form, const std::vector<double>& edges) {
        talvora_butterworth_design design = low_pass(7.0);
        design.form = form;
        const Outcome outcome = find_cutoff(design, edges);
        EXPECT_EQ(outcome.status, TALVORA_INVALID_ARGUMENT);
        EXPECT_EQ(design.cutoff, 7.0);
        return outcome.text;
    };
    EXPECT_EQ(refusal_of(TALVORA_LOW_PASS, {600.0}),
              "an edge of 600 Hz cannot be had at 1000 Hz: it must lie above 0 and below half the "
              "rate, 500 Hz");
    EXPECT_EQ(refusal_of(TALVORA_BAND_PASS, {20.0}), "ZeroLagBandPass has two edges, 1 given");
    EXPECT_EQ(refusal_of(TALVORA_BAND_STOP, {20.0, 10.0}),
              "the edges 20 and 10 Hz are not ascending");
    EXPECT_EQ(refusal_of(TALVORA_LOW_PASS, {1, 2, 3}), "3 edges given; allowed are 1 and 2");
}

} // namespace
} // namespace talvora::library_test
