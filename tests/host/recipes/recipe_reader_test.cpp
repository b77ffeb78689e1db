#include "host/recipes/recipe_reader.h"
#include "host/text/failure.h"
#include "tests/host/recipes/recipe_test.h"
#include "tests/host/temporary_folder.h"

#include <cstdint>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

using RecipeReader = RecipeTest;
using RecipeValues = RecipeTest;
using RecipeProblemList = RecipeTest;
using Integers = std::vector<std::int64_t>;

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
            read_recipe_file(folder / name, {}, library());
            ADD_FAILURE() << name;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code(), ExitCode::Input);
        }
    }
}

// ---------------------------------------------------------------------------

TEST_F(RecipeValues, AreReadAsTheirDeclaredTypes) {
    const Recipe recipe = read("steps:\n"
                               "  - unit: apply-set-butterworth\n"
                               "    parameters:\n"
                               "      SourceSets: [G/a, 'G/b c', 7]\n"
                               "      ScanRecursive: true\n"
                               "      CutoffFrequency: 1.25e1\n"
                               "      Order: 4\n"
                               "  - unit: apply-set-opposite\n"
                               "    parameters:\n"
                               "      Components:\n"
                               "        - 2\n"
                               "        - -1\n");
    EXPECT_EQ(value_of<Texts>(recipe, "SourceSets"), (Texts{"G/a", "G/b c", "7"}));
    EXPECT_TRUE(value_of<bool>(recipe, "ScanRecursive"));
    EXPECT_EQ(value_of<double>(recipe, "CutoffFrequency"), 12.5);
    EXPECT_EQ(value_of<std::int64_t>(recipe, "Order"), 4);
    EXPECT_EQ(value_of<Integers>(recipe, "Components", 1), (Integers{2, -1}));
}

TEST_F(RecipeValues, OfATextAreTakenAsTheyStand) {
    for (const char* text : {"5", "007", "true", "1e3", "no", "a b",
                             "gr\xC3\xBC\xC3\x9F"
                             "e"}) {
        const Recipe recipe = read(with_parameters("      SourceGroup: " + std::string(text)));
        EXPECT_EQ(value_of<std::string>(recipe, "SourceGroup"), text);
    }
}

TEST_F(RecipeValues, OfAListCanBeNone) {
    const Recipe recipe = read(with_parameters("      SourceSets: []\n      Components: []\n"));
    EXPECT_THAT(value_of<Texts>(recipe, "SourceSets"), IsEmpty());
    EXPECT_THAT(value_of<Integers>(recipe, "Components"), IsEmpty());
}

TEST_F(RecipeValues, DoNotDependOnTheLocale) {
    const CommaLocale locale;
    const Recipe recipe =
        read(with_parameters("      HintMaxGapLength: 0.5\n", "apply-set-fill-gap"));
    EXPECT_EQ(value_of<double>(recipe, "HintMaxGapLength"), 0.5);
    EXPECT_THAT(problems_of(with_parameters("      HintMaxGapLength: 0,5\n", "apply-set-fill-gap")),
                SizeIs(1));
}

TEST_F(RecipeValues, OfAnotherTypeAreProblems) {
    for (const char* line : {"Axis: 1.0",
                             "Axis: x",
                             "Axis: '1'",
                             "Axis: 9223372036854775808",
                             "Axis: [1]",
                             "Axis: {}",
                             "Axis: ~",
                             "Axis:",
                             "Axis: 0x10",
                             "Axis: 1_000",
                             "Axis: +1",
                             "ScanRecursive: yes",
                             "ScanRecursive: True",
                             "ScanRecursive: 1",
                             "ScanRecursive: \"true\"",
                             "SourceSets: G/a",
                             "SourceSets: {a: b}",
                             "SourceSets: ~",
                             "SourceSets: [[a]]",
                             "SourceSets: [~]",
                             "Components: 1",
                             "Components: [a]",
                             "Components: [1.5]",
                             "Components: ['1']",
                             "SourceGroup: [a]",
                             "SourceGroup: ~",
                             "SourceGroup: {a: b}",
                             "SourceGroup: \"a\\0b\""}) {
        EXPECT_THAT(problems_of(with_parameters("      " + std::string(line) + "\n")), SizeIs(1))
            << line;
    }
}

TEST_F(RecipeValues, ShowWhatIsWrongWithThem) {
    EXPECT_EQ(problems_of(with_parameters("      Axis: last\n")),
              Texts{"r.yaml:4:13: parameter 'Axis' cannot be 'last' (allowed: a whole number of "
                    "64 bits)"});
    EXPECT_EQ(problems_of(with_parameters("      Axis: '1'\n")),
              Texts{"r.yaml:4:13: parameter 'Axis' cannot be the text '1' (allowed: a whole number "
                    "of 64 bits)"});
    EXPECT_EQ(hint_for(with_parameters("      Axis: '1'\n")), "without the quotes: 1");
    EXPECT_EQ(problems_of(with_parameters("      Components:\n        - 1\n        - b\n")),
              Texts{"r.yaml:6:11: parameter 'Components' cannot be 'b' (allowed: a whole number of "
                    "64 bits)"});
    EXPECT_THAT(hint_for(with_parameters("      SourceSets: G/a\n")), HasSubstr("[a, b]"));
    EXPECT_EQ(problems_of(with_parameters("      SourceGroup:\n      Axis: 1\n")),
              Texts{"r.yaml:4:7: parameter 'SourceGroup' cannot be nothing (allowed: a text)"});
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

TEST_F(RecipeProblemList, ShowsLongAndOddTextsSafely) {
    const Texts problems = problems_of(with_parameters(
        "      Axis: \"\\e[31mred\"\n      Components: [" + std::string(100'000, 'x') + "]\n"));
    ASSERT_THAT(problems, SizeIs(2));
    EXPECT_THAT(problems[0], HasSubstr("the text '?[31mred'"));
    EXPECT_LT(problems[1].size(), 600U);
}

TEST_F(RecipeProblemList, IsCutAfterAHundred) {
    std::string text = "steps: [{unit: apply-set-rectify}]\n";
    for (int i = 0; i < 250; ++i) {
        text += "key" + std::to_string(i) + ": 1\n";
    }
    const Texts problems = problems_of(text);
    ASSERT_THAT(problems, SizeIs(101));
    EXPECT_EQ(problems.back(), "r.yaml: 150 further problems");
}

} // namespace
} // namespace talvora::host
