#include "host/recipes/recipe_reader.h"
#include "host/text/failure.h"
#include "tests/host/recipes/recipe_test.h"
#include "tests/host/temporary_folder.h"

#include <cstdint>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

using RecipeReader = RecipeTest;
using RecipeProblemList = RecipeTest;

TEST_F(RecipeReader, ReadsStepsInOrder) {
    const Recipe recipe = read("description: Two steps\n"
                               "steps:\n"
                               "  - name: first\n"
                               "    unit: apply-set-rectify\n"
                               "    parameters: {SourceGroup: G}\n"
                               "  - unit: orvane.signal.average-set\n"
                               "    parameters:\n"
                               "      SourceGroup: G\n"
                               "      DestinationGroup: Means\n");
    EXPECT_EQ(recipe.description, "Two steps");
    ASSERT_THAT(recipe.steps, SizeIs(2));
    EXPECT_EQ(recipe.steps[0].name, "first");
    EXPECT_EQ(recipe.steps[0].unit, library().find_unit("apply-set-rectify"));
    EXPECT_EQ(recipe.steps[1].name, "average-set");
    EXPECT_EQ(value_of<std::string>(recipe, "DestinationGroup", 1), "Means");
    EXPECT_EQ(value_of<std::int64_t>(recipe, "Axis", 1), -1); // the default
}

TEST_F(RecipeReader, LetsAUnitGoWithoutParameters) {
    for (const char* text : {"steps: [{unit: apply-set-rectify}]\n",
                             "steps:\n  - unit: apply-set-rectify\n    parameters:\n",
                             "variables:\nsteps: [{unit: apply-set-rectify, parameters: {}}]\n"}) {
        EXPECT_THAT(read(text).steps, SizeIs(1)) << text;
    }
}

TEST_F(RecipeReader, TakesAByteOrderMarkAndWindowsLineEnds) {
    const Recipe recipe = read("\xEF\xBB\xBFsteps:\r\n  - unit: apply-set-rectify\r\n"
                               "    parameters:\r\n      SourceGroup: G\r\n");
    EXPECT_EQ(value_of<std::string>(recipe, "SourceGroup"), "G");
}

TEST_F(RecipeReader, TellsOfAFileThatCannotBeRead) {
    const TemporaryFolder folder;
    for (const char* name : {"missing.yaml", "."}) {
        try {
            read_recipe(folder / name, {}, library());
            ADD_FAILURE() << name;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code(), ExitCode::Input);
        }
    }
}

// ---------------------------------------------------------------------------

TEST_F(RecipeProblemList, HoldsAllOfThemInTheOrderOfTheFile) {
    EXPECT_EQ(problems_of("descripton: x\n"
                          "variables: {unused: 1}\n"
                          "steps:\n"
                          "  - unit: apply-set-rectfy\n"
                          "  - unit: apply-set-butterworth\n"
                          "    parameters:\n"
                          "      Order: x\n"
                          "      Order: 4\n"
                          "      Cutoff: 5\n"
                          "    name: ''\n"),
              (Texts{"r.yaml:1:1: unknown key 'descripton' (known: description, variables, steps)",
                     "r.yaml:2:13: variable 'unused' is not used",
                     "r.yaml:4:11: no unit 'apply-set-rectfy'",
                     "r.yaml:6:5: parameter 'CutoffFrequency' is missing",
                     "r.yaml:7:14: parameter 'Order' cannot be 'x' (allowed: a whole number of 64 "
                     "bits)",
                     "r.yaml:8:7: the key 'Order' is repeated (it stands in line 7)",
                     "r.yaml:9:7: unknown parameter 'Cutoff' (known: SourceSets, SourceGroup, "
                     "ScanRecursive, CutoffFrequency, Order, Bandform, BandWidth, Axis)",
                     "r.yaml:10:11: the name of a step cannot be empty"}));
}

TEST_F(RecipeProblemList, SuggestsWhatWasProbablyMeant) {
    EXPECT_EQ(hint_for("steps: [{unti: apply-set-rectify, unit: apply-set-rectify}]\n"),
              "did you mean 'unit'?");
    EXPECT_EQ(hint_for("steps: [{unit: apply-set-rectfy}]\n"), "did you mean 'apply-set-rectify'?");
    EXPECT_EQ(hint_for(with_parameters("      SourceGroups: G\n")), "did you mean 'SourceGroup'?");
}

TEST_F(RecipeProblemList, TellsWhenThereIsNoRecipe) {
    EXPECT_EQ(problems_of(""), Texts{"r.yaml:1:1: the recipe is empty"});
    EXPECT_EQ(problems_of("# a comment\n"), Texts{"r.yaml:1:1: the recipe is empty"});
    EXPECT_THAT(problems_of("just words\n"),
                ElementsAre(HasSubstr("r.yaml:1:1: a recipe is a map")));
    EXPECT_THAT(problems_of("- a\n- b\n"), ElementsAre(HasSubstr("(this is a list)")));
    EXPECT_THAT(problems_of(std::string(10'000'000, 'x')), SizeIs(1));
    EXPECT_THAT(problems_of(std::string(20'000, '[')), SizeIs(1));
}

TEST_F(RecipeProblemList, TellsWhenThereAreNoSteps) {
    EXPECT_EQ(problems_of("description: x\n"), Texts{"r.yaml:1:1: the recipe has no steps"});
    EXPECT_EQ(problems_of("steps:\n"), Texts{"r.yaml:1:1: the recipe has no steps"});
    EXPECT_EQ(problems_of("description: x\nsteps: []\n"),
              Texts{"r.yaml:2:1: the recipe has no steps"});
}

TEST_F(RecipeProblemList, NamesPartsOfTheWrongKind) {
    EXPECT_THAT(problems_of("description: [a]\nvariables: 5\nsteps: {unit: a}\n"),
                ElementsAre("r.yaml:1:14: 'description' is a text (this is a list)",
                            HasSubstr("r.yaml:2:12: 'variables' is a map"),
                            "r.yaml:3:8: 'steps' is a list (this is a map)"));
    EXPECT_THAT(problems_of("steps: [a]\n"), ElementsAre(HasSubstr("1:9: a step is a map")));
    EXPECT_THAT(problems_of("steps:\n  - name: a\n"),
                ElementsAre("r.yaml:2:5: the step has no unit"));
    EXPECT_THAT(problems_of("steps:\n  - unit: apply-set-rectify\n    parameters: [a]\n"),
                ElementsAre(HasSubstr("3:17: 'parameters' is a map")));
}

TEST_F(RecipeProblemList, NamesStepsOfTheSameName) {
    EXPECT_EQ(problems_of("steps:\n"
                          "  - unit: apply-set-rectify\n"
                          "  - unit: apply-set-rectify\n"
                          "  - unit: apply-set-opposite\n"
                          "    name: apply-set-rectify\n"),
              (Texts{"r.yaml:3:5: a second step with the name 'apply-set-rectify' (the first is in "
                     "line 2)",
                     "r.yaml:5:11: a second step with the name 'apply-set-rectify' (the first is "
                     "in line 2)"}));
}

TEST_F(RecipeProblemList, SaysNothingMoreOfAnAlias) {
    EXPECT_EQ(problems_of(with_parameters("      SourceGroup: *a\n")),
              (Texts{"r.yaml:4:20: no YAML: the referenced anchor is not defined"}));
    EXPECT_EQ(problems_of("description: &a G\n" + with_parameters("      SourceGroup: *a\n")),
              (Texts{"r.yaml:1:14: an anchor ('&') is not taken",
                     "r.yaml:5:20: an alias ('*') is not taken"}));
}

// The memory of a process opens like a file, and its first byte cannot be read.
TEST_F(RecipeReader, RefusesAFileThatCannotBeReadToItsEnd) {
    EXPECT_THAT([&] { read_recipe("/proc/self/mem", {}, library()); },
                testing::ThrowsMessage<Failure>(
                    "/proc/self/mem: cannot be read to its end: Input/output error"));
}

// ---------------------------------------------------------------------------
// Guards that a step accepts

using AcceptedGuards = RecipeTest;

TEST_F(AcceptedGuards, AreAListOfNames) {
    const std::string step = "steps:\n  - unit: apply-set-rectify\n    accept: ";
    EXPECT_EQ(read(step + "[first-guard]\n").steps.at(0).accept, Texts{"first-guard"});
    EXPECT_EQ(read(step + "\n").steps.at(0).accept, Texts{});
    EXPECT_EQ(problems_of(step + "first-guard\n"),
              Texts{"r.yaml:3:13: 'accept' is a list of the names of guards (this is "
                    "'first-guard')"});
    EXPECT_EQ(problems_of(step + "[[first-guard], frist-guard]\n"),
              (Texts{"r.yaml:3:14: a guard is accepted by its name (this is a list)",
                     "r.yaml:3:29: no guard 'frist-guard' (known: first-guard, second-guard)"}));
    EXPECT_EQ(hint_for(step + "[frist-guard]\n"), "did you mean 'first-guard'?");
}

} // namespace
} // namespace talvora::host
