// The command design: what a filter does, without a file.
#include "tests/host/cli/cli_test.h"

#include <nlohmann/json.hpp>

namespace talvora::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

using Design = CommandLine;

TEST_F(Design, TellsTheOrderEdgesAndResponseOfAFilter) {
    const auto result =
        run({"design", "ZeroLagHighPass", "CutoffFrequency=50", "Order=4", "--rate", "1000"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.output,
                AllOf(StartsWith("Bandform=ZeroLagHighPass CutoffFrequency=50 Order=4\n"
                                 "at 1000 Hz 3 dB down at 77.1499 Hz after both passes, each of "
                                 "order 2 with its edge at 62.3252 Hz\n"),
                      HasSubstr("\na  1  -1.455"),
                      HasSubstr("\n       77.1499  0.707107    -3.01\n"),
                      HasSubstr("  500  1.000000     0.00\n")));
}

TEST_F(Design, WarnsWhereTheParametersSuggestOtherEdges) {
    EXPECT_EQ(
        run({"design", "ZeroLagHighPass", "CutoffFrequency=50", "Order=4", "--rate", "1000"})
            .errors,
        "warning: at 1000 Hz both passes together are 3 dB down at 77.1499 Hz; the parameters "
        "suggest 50 Hz\n"
        "hint: talvora-host design ZeroLagHighPass --edge 50 --rate 1000 --order 4\n");
    EXPECT_THAT(
        run({"design", "ZeroLagLowPass", "CutoffFrequency=10", "Order=4", "--rate", "1000"}).errors,
        IsEmpty());
}

TEST_F(Design, GivesParametersThatLeadBackToTheEdges) {
    const auto chosen =
        nlohmann::json::parse(run({"design", "ZeroLagBandPass", "--edge", "40", "--edge", "60",
                                   "--order", "4", "--rate", "1000", "--json"})
                                  .output);
    const auto& parameters = chosen["parameters"];
    const auto again = nlohmann::json::parse(
        run({"design", "ZeroLagBandPass", "CutoffFrequency=" + parameters["CutoffFrequency"].dump(),
             "BandWidth=" + parameters["BandWidth"].dump(), "Order=4", "--rate", "1000", "--json"})
            .output);
    EXPECT_EQ(again["coefficients"], chosen["coefficients"]);
    EXPECT_NEAR(again["three_db_points"][0], 40.0, 1e-8);
    EXPECT_NEAR(again["three_db_points"][1], 60.0, 1e-8);
    EXPECT_THAT(chosen["warnings"], IsEmpty());
    EXPECT_EQ(again["warnings"].size(), 1U);
}

TEST_F(Design, WritesAnInfiniteLossAsNull) {
    const auto json = nlohmann::json::parse(run({"design", "ZeroLagLowPass", "CutoffFrequency=10",
                                                 "Order=4", "--rate", "1000", "--json"})
                                                .output);
    EXPECT_EQ(json["pass_order"], 2);
    EXPECT_EQ(json["usable"], true);
    EXPECT_EQ(json["response"].back()["frequency"], 500.0);
    EXPECT_TRUE(json["response"].back()["decibels"].is_null());
}

TEST_F(Design, TellsThatAFilterIsOfNoUse) {
    const auto result =
        run({"design", "ZeroLagLowPass", "CutoffFrequency=450", "Order=4", "--rate", "1000"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.output, AllOf(HasSubstr("at 1000 Hz unstable"), Not(HasSubstr("gain"))));
    EXPECT_THAT(result.errors, HasSubstr("is not below half the rate, 500 Hz"));
}

TEST_F(Design, DrawsAPicture) {
    const Program::Words words = {"design", "ZeroLagLowPass", "--edge", "50", "--order",
                                  "4",      "--rate",         "1000",   "-o", "filter.svg"};
    EXPECT_EQ(run(words).exit_code, 0);
    EXPECT_THAT(read_file(folder_ / "filter.svg"),
                AllOf(StartsWith("<svg "), HasSubstr("3 dB down at 50 Hz"), HasSubstr("</svg>\n")));
    EXPECT_EQ(run(words).exit_code, 5);
    Program::Words forced = words;
    forced.push_back("--force");
    EXPECT_EQ(run(forced).exit_code, 0);
}

struct Refusal {
    Program::Words words;
    std::string text;
};

TEST_F(Design, RefusesWhatMakesNoFilter) {
    const Refusal refusals[] = {
        {{"ZeroLagLowPas", "CutoffFrequency=5", "Order=4", "--rate", "100"},
         "error: unknown band form 'ZeroLagLowPas' (known: ZeroLagLowPass, ZeroLagHighPass, "
         "ZeroLagBandPass, ZeroLagBandStop)\nhint: did you mean 'ZeroLagLowPass'?\n"},
        {{"ZeroLagLowPass", "CutofFrequency=5", "Order=4", "--rate", "100"},
         "hint: did you mean 'CutoffFrequency'?"},
        {{"ZeroLagLowPass", "CutoffFrequency=5", "--rate", "100"}, "'Order' is missing"},
        {{"ZeroLagLowPass", "CutoffFrequency=0", "Order=4", "--rate", "100"},
         "error: apply-set-butterworth: Invalid cutoff frequency\n"},
        {{"ZeroLagLowPass", "CutoffFrequency=5", "Order=4", "BandWidth=1", "--rate", "100"},
         "Bandwidth cannot be defined"},
        {{"ZeroLagBandStop", "CutoffFrequency=5", "Order=4", "--rate", "100"},
         "Bandwidth must be defined"},
        {{"ZeroLagLowPass", "CutoffFrequency=5", "Order=4"}, "--rate is required"},
        {{"ZeroLagLowPass", "CutoffFrequency=5", "Order=4", "--rate", "0"}, "a rate is above 0"},
        {{"ZeroLagLowPass", "CutoffFrequency=5", "Order=4", "--rate", "nan"}, "a rate is above 0"},
        {{"ZeroLagLowPass", "CutoffFrequency=5", "Order=4", "--rate", "1e300"},
         "a rate is above 0"},
        {{"ZeroLagLowPass", "--rate", "100"}, "neither parameters nor edges"},
        {{"ZeroLagLowPass", "Order=4", "--edge", "5", "--rate", "100"}, "exclude each other"},
        {{"ZeroLagLowPass", "--edge", "5", "--rate", "100"}, "--edge asks for --order N"},
        {{"ZeroLagLowPass", "--edge", "50", "--order", "4", "--rate", "100"},
         "an edge of 50 Hz cannot be had at 100 Hz"},
        {{"ZeroLagLowPass", "--edge", "-5", "--order", "4", "--rate", "100"},
         "an edge of -5 Hz cannot be had"},
        {{"ZeroLagBandPass", "--edge", "5", "--order", "4", "--rate", "100"}, "has two edges"},
        {{"ZeroLagBandPass", "--edge", "8", "--edge", "5", "--order", "4", "--rate", "100"},
         "not ascending"},
        {{"ZeroLagLowPass", "walk.h5", "Order=4", "--rate", "100"}, "'walk.h5' is no parameter"},
        {{"ZeroLagLowPass", "--edge", "5", "--order", "4", "--rate", "100", "-o", "a.png"},
         "name it .svg"},
    };
    for (const Refusal& refusal : refusals) {
        Program::Words words = {"design"};
        words.insert(words.end(), refusal.words.begin(), refusal.words.end());
        const auto result = run(words);
        EXPECT_EQ(result.exit_code, 2) << result.errors;
        EXPECT_THAT(result.errors, HasSubstr(refusal.text));
        EXPECT_THAT(result.output, IsEmpty());
    }
}

} // namespace
} // namespace talvora::host
