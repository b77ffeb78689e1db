#include "host/filters/step_aims.h"
#include "host/text/failure.h"
#include "host/tree/hinted_tree.h"
#include "host/tree/memory_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

class PlannedCalls : public testing::Test {
  protected:
    PlannedCalls() {
        unit_.name = "orvane.signal.apply-set-downsample";
        for (const char* text :
             {"SourceSets: list(string)", "SourceGroup: string", "ScanRecursive: boolean = false",
              "HintGroup: string", "HintSet: string", "Axis: integer = -1"}) {
            signatures_.push_back(parse_signature(text, false));
        }
    }

    void add_set(const std::string& path, float rate) {
        tree_.write_attribute(tree_.create_dataset(tree_.root(), path, {100}), "SampleRate", rate);
    }

    std::vector<StepCall> plan(const StepAims& aims) {
        return plan_calls(
            {"step", &unit_, {signatures_, {{"SourceGroup", std::string("A")}}}, {}, aims}, tree_);
    }

    std::string refusal(double rate) {
        try {
            plan({.to_rate = rate});
            return "none";
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code(), ExitCode::UnitFailed);
            return failure.what();
        }
    }

    MemoryTree tree_;
    Unit unit_;
    std::vector<ParameterSignature> signatures_;
};

TEST_F(PlannedCalls, OfARateTakeTheHint) {
    add_set("A/X", 100.0F);
    const auto calls = plan({.to_rate = 25.0});
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(*calls[0].step.values.find("HintGroup"), ParameterValue(std::string(RATE_HINT_NAME)));
    EXPECT_THAT(calls[0].found.values, IsEmpty());
}

TEST_F(PlannedCalls, OfARateThatNoWholeNumberGivesAreRefused) {
    add_set("A/X", 100.0F);
    EXPECT_EQ(refusal(100.0), "none");
    EXPECT_EQ(refusal(20.0), "none");
    EXPECT_THAT(refusal(40.0), HasSubstr("A/X (100 Hz): the nearest are 33.333332 and 50 Hz"));
    EXPECT_EQ(refusal(33.333332), "none"); // a third, as a 32-bit float
    EXPECT_THAT(refusal(101.0), HasSubstr("A/X (100 Hz): that is its highest"));
}

TEST_F(PlannedCalls, LeaveSetsWithoutARateToTheUnit) {
    add_set("A/X", 0.0F);
    EXPECT_EQ(refusal(25.0), "none");
}

TEST_F(PlannedCalls, OfSetBySetAreOneForEachSet) {
    add_set("A/X", 100.0F);
    add_set("A/Y", 50.0F);
    const auto calls = plan({.set_by_set = true});
    ASSERT_EQ(calls.size(), 2U);
    for (const StepCall& call : calls) {
        EXPECT_EQ(call.step.values.find("SourceGroup"), nullptr);
    }
    EXPECT_EQ(*calls[1].step.values.find("SourceSets"), ParameterValue(Texts{"A/Y"}));
}

TEST_F(PlannedCalls, AreOneWhereNothingIsChosen) {
    const auto calls = plan({.to_rate = 25.0, .set_by_set = true});
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(*calls[0].step.values.find("SourceGroup"), ParameterValue(std::string("A")));
}

TEST(StepAims, StandForKeys) {
    EXPECT_THAT(list_found_keys({}), IsEmpty());
    EXPECT_THAT(list_found_keys({.edges = {5.0}}), ElementsAre("CutoffFrequency", "BandWidth"));
    EXPECT_THAT(list_found_keys({.to_rate = 5.0}), ElementsAre("HintGroup", "HintSet"));
}

} // namespace
} // namespace talvora::host
