#include "host/guards/accepted_guards.h"
#include "host/text/failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Words = std::vector<std::string>;

Recipe make_recipe() {
    Recipe recipe;
    recipe.steps.resize(2);
    recipe.steps[1].accept = {"nothing-done"};
    return recipe;
}

TEST(AcceptedGuards, AreThoseOfTheStepAndOfTheCommand) {
    const Recipe recipe = accept_in_all_steps(make_recipe(), Words{"unusable-filter"});
    EXPECT_TRUE(accepts_guard(recipe.steps[0], "unusable-filter"));
    EXPECT_FALSE(accepts_guard(recipe.steps[0], "nothing-done"));
    EXPECT_THAT(recipe.steps[1].accept, ElementsAre("nothing-done", "unusable-filter"));
}

TEST(AcceptedGuards, StandInWordsWithCommas) {
    const Recipe recipe =
        accept_in_all_steps(make_recipe(), Words{"unusable-filter,nothing-done", "nothing-done"});
    EXPECT_THAT(recipe.steps[0].accept, ElementsAre("unusable-filter", "nothing-done"));
    EXPECT_THAT(recipe.steps[1].accept, ElementsAre("nothing-done", "unusable-filter"));
    EXPECT_THAT(accept_in_all_steps(make_recipe(), Words{}).steps[0].accept, IsEmpty());
}

TEST(AcceptedGuards, AreKnownByTheirWholeNames) {
    for (const char* word : {"", "nothing", "nothing-done,", "Nothing-Done", ","}) {
        EXPECT_THROW(accept_in_all_steps(make_recipe(), Words{word}), Failure) << word;
    }
    try {
        accept_in_all_steps(make_recipe(), Words{"nothing-dome"});
        FAIL() << "was taken";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.code(), ExitCode::Usage);
        EXPECT_THAT(failure.what(), HasSubstr("--accept: no guard 'nothing-dome' (known: "));
        EXPECT_THAT(failure.hints(), ElementsAre("did you mean 'nothing-done'?"));
    }
}

} // namespace
} // namespace talvora::host
