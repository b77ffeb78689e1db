#include "host/filters/step_filters.h"
#include "host/tree/memory_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace talvora::host {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

std::vector<ParameterSignature> make_signatures() {
    std::vector<ParameterSignature> signatures;
    for (const char* text :
         {"SourceSets: list(string)", "SourceGroup: string", "ScanRecursive: boolean = false",
          "CutoffFrequency: number", "Order: integer", "Bandform: string = \"ZeroLagLowPass\"",
          "BandWidth: number = 0.0", "Axis: integer = -1"}) {
        signatures.push_back(parse_signature(text, false));
    }
    return signatures;
}

class StepFilters : public testing::Test {
  protected:
    StepFilters() { unit_.name = "maker.signal.apply-set-butterworth"; }

    void add_set(const std::string& path, const AttributeValue& rate) {
        tree_.write_attribute(tree_.create_dataset(tree_.root(), path, {1}), "SampleRate", rate);
    }

    std::vector<FilterFacts> find(ParameterValues::Given given) {
        given.emplace("CutoffFrequency", 20.0);
        given.emplace("Order", std::int64_t{4});
        return find_step_filters({"filter", &unit_, {make_signatures(), given}}, tree_);
    }

    std::vector<double> find_rates(const ParameterValues::Given& given) {
        std::vector<double> rates;
        for (const FilterFacts& facts : find(given)) {
            rates.push_back(facts.design.sample_rate);
        }
        return rates;
    }

    MemoryTree tree_;
    Unit unit_;
};

TEST_F(StepFilters, AreOnePerRateOfTheSetsNamed) {
    add_set("A/X", 1000.0F);
    add_set("A/Y", 100.0);
    add_set("B/X", 1000.0F);
    add_set("C", std::int64_t{50});
    EXPECT_THAT(find_rates({{"SourceSets", Texts{"A/X", "A/Y", "B/X", "missing", "A", "."}}}),
                ElementsAre(100, 1000));
    EXPECT_THAT(find_rates({{"SourceSets", Texts{"C"}}, {"SourceGroup", "A"s}}),
                ElementsAre(50, 100, 1000));
}

TEST_F(StepFilters, GoBelowAGroupWhenAsked) {
    add_set("A/X", 1000.0F);
    add_set("A/Below/X", 100.0F);
    EXPECT_THAT(find_rates({{"SourceGroup", "A"s}}), ElementsAre(1000));
    EXPECT_THAT(find_rates({{"SourceGroup", "A"s}, {"ScanRecursive", true}}),
                ElementsAre(100, 1000));
    EXPECT_THAT(find_rates({{"SourceGroup", ""s}, {"ScanRecursive", true}}),
                ElementsAre(100, 1000));
    EXPECT_THAT(find_rates({{"SourceGroup", "Missing"s}}), IsEmpty());
}

TEST_F(StepFilters, LeaveOutRatesThatMakeNoFilter) {
    add_set("NaN", std::numeric_limits<float>::quiet_NaN());
    add_set("Infinite", std::numeric_limits<float>::infinity());
    add_set("Zero", 0.0F);
    add_set("Text", "fast"s);
    tree_.create_dataset(tree_.root(), "None", {1});
    EXPECT_THAT(find_rates({{"SourceGroup", ""s}}), IsEmpty());
}

TEST_F(StepFilters, AreMadeOfTheStepsParameters) {
    add_set("X", 1000.0F);
    const auto filters = find({{"SourceGroup", ""s},
                               {"Bandform", "ZeroLagBandStop"s},
                               {"CutoffFrequency", 50.0},
                               {"Order", std::int64_t{8}},
                               {"BandWidth", 20.0}});
    ASSERT_EQ(filters.size(), 1U);
    EXPECT_EQ(make_design_command(filters[0].design),
              "talvora-host design ZeroLagBandStop CutoffFrequency=50 Order=8 BandWidth=20 --rate "
              "1000");
}

TEST_F(StepFilters, AreNoneForParametersThatTheUnitRefuses) {
    add_set("X", 1000.0F);
    const ParameterValues::Given refused[] = {
        {{"CutoffFrequency", 0.0}},
        {{"Order", std::int64_t{0}}},
        {{"Order", std::int64_t{4'294'967'296}}}, // 0 in the low 32 bits
        {{"Bandform", "zerolaglowpass"s}},
        {{"BandWidth", 2.0}},
        {{"Bandform", "ZeroLagBandPass"s}},
        {{"Bandform", "ZeroLagBandPass"s}, {"BandWidth", -2.0}},
    };
    for (ParameterValues::Given given : refused) {
        given.emplace("SourceGroup", ""s);
        EXPECT_THAT(find(given), IsEmpty());
    }
}

TEST_F(StepFilters, AreNoneForOtherUnits) {
    add_set("X", 1000.0F);
    unit_.name = "maker.signal.apply-set-rectify";
    EXPECT_THAT(find({{"SourceGroup", ""s}}), IsEmpty());
    unit_.name = "signal.set-butterworth";
    EXPECT_EQ(find({{"SourceGroup", ""s}}).size(), 1U);
}

} // namespace
} // namespace talvora::host
