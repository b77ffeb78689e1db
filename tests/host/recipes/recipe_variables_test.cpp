#include "host/recipes/recipe_variables.h"
#include "tests/host/recipes/recipe_test.h"

#include <cstdint>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

using VariablesOfRecipes = RecipeTest;

// Variables, and a step whose parameters begin in the given lines.
std::string make(const std::string& variables, const std::string& parameters) {
    return "variables:\n" + variables + "steps:\n  - unit: apply-set-opposite\n    parameters:\n" +
           parameters;
}

const std::string GROUP_AND_AXIS =
    make("  group: Imu\n  axis: 1\n", "      SourceGroup: ${group}/All\n      Axis: ${axis}\n");

TEST_F(VariablesOfRecipes, AreReadAsTheParameterWantsThem) {
    const Recipe recipe = read(GROUP_AND_AXIS);
    EXPECT_EQ(value_of<std::string>(recipe, "SourceGroup"), "Imu/All");
    EXPECT_EQ(value_of<std::int64_t>(recipe, "Axis"), 1);
    const Recipe both = read(make("  n: 5\n", "      SourceGroup: ${n}\n      Axis: ${n}\n"));
    EXPECT_EQ(value_of<std::string>(both, "SourceGroup"), "5");
    EXPECT_EQ(value_of<std::int64_t>(both, "Axis"), 5);
}

TEST_F(VariablesOfRecipes, AreSetOnTheCommandLine) {
    const Recipe recipe = read(GROUP_AND_AXIS, {"group=a=b", "axis=-2"});
    EXPECT_EQ(value_of<std::string>(recipe, "SourceGroup"), "a=b/All");
    EXPECT_EQ(value_of<std::int64_t>(recipe, "Axis"), -2);
    EXPECT_EQ(value_of<std::string>(read(GROUP_AND_AXIS, {"group="}), "SourceGroup"), "/All");
}

TEST_F(VariablesOfRecipes, KeepTheirTypeInQuotes) {
    const Recipe recipe =
        read(make("  a: 1\n  b: [2, 3]\n  g: G\n", "      Axis: \"${a}\"\n      Components: ${b}\n"
                                                   "      SourceSets: [\"${g}/x\", '${g}']\n"));
    EXPECT_EQ(value_of<std::int64_t>(recipe, "Axis"), 1);
    EXPECT_EQ(value_of<std::vector<std::int64_t>>(recipe, "Components"),
              (std::vector<std::int64_t>{2, 3}));
    EXPECT_EQ(value_of<Texts>(recipe, "SourceSets"), (Texts{"G/x", "G"}));
}

TEST_F(VariablesOfRecipes, MakeAListWhenSetSeveralTimes) {
    for (const char* value : {"~", "[x, y]"}) {
        const std::string text =
            make("  sets: " + std::string(value) + "\n", "      SourceSets: ${sets}\n");
        EXPECT_EQ(value_of<Texts>(read(text, {"sets=G/a"}), "SourceSets"), Texts{"G/a"});
        EXPECT_EQ(value_of<Texts>(read(text, {"sets=G/a", "sets=G/b", "sets=G/c"}), "SourceSets"),
                  (Texts{"G/a", "G/b", "G/c"}));
    }
    EXPECT_THAT(problems_of(GROUP_AND_AXIS, {"axis=1", "axis=2"}),
                ElementsAre(HasSubstr("r.yaml:8:13: parameter 'Axis' cannot be a list")));
}

TEST_F(VariablesOfRecipes, AreEscapedByASecondSign) {
    const Recipe recipe = read(make("  a: $${b}\n", "      SourceGroup: $${a}$ $$ }{\n"
                                                    "      SourceSets: [\"${a}\"]\n"));
    EXPECT_EQ(value_of<std::string>(recipe, "SourceGroup"), "${a}$ $$ }{");
    EXPECT_EQ(value_of<Texts>(recipe, "SourceSets"), Texts{"${b}"});
}

TEST_F(VariablesOfRecipes, InASettingAreNotLookedFor) {
    EXPECT_EQ(value_of<std::string>(read(GROUP_AND_AXIS, {"group=${axis}"}), "SourceGroup"),
              "${axis}/All");
}

TEST_F(VariablesOfRecipes, HaveToHaveAValue) {
    const std::string text = make("  group: ~\n", "      SourceGroup: ${group}\n");
    EXPECT_EQ(problems_of(text), Texts{"r.yaml:2:3: variable 'group' has no value"});
    EXPECT_EQ(hint_for(text), "--set group=VALUE");
    EXPECT_EQ(value_of<std::string>(read(text, {"group=~"}), "SourceGroup"), "~");
}

TEST_F(VariablesOfRecipes, HaveToBeUsed) {
    const std::string text = make("  group: G\n", "      SourceGroup: G\n");
    EXPECT_EQ(problems_of(text), Texts{"r.yaml:2:3: variable 'group' is not used"});
    EXPECT_EQ(hint_for(text), "in a value: ${group}");
}

TEST_F(VariablesOfRecipes, CountAsUsedInAStepThatIsWrong) {
    EXPECT_THAT(problems_of("variables: {g: G}\nsteps:\n  - unit: no-such-unit-at-all\n"
                            "    parameters: {SourceGroup: \"${g}\"}\n"),
                ElementsAre(HasSubstr("no unit 'no-such-unit-at-all'")));
    EXPECT_THAT(problems_of(make("  g: G\n", "      Nothing: ${g}\n")),
                ElementsAre(HasSubstr("unknown parameter 'Nothing'")));
}

TEST_F(VariablesOfRecipes, HaveToBeDeclared) {
    const std::string text = make("  group: G\n", "      SourceGroup: ${group}\n"
                                                  "      SourceSets: ['${grop}/x']\n");
    EXPECT_EQ(problems_of(text), Texts{"r.yaml:7:20: no variable 'grop' (known: group)"});
    EXPECT_EQ(hint_for(text), "did you mean 'group'?");
    EXPECT_EQ(problems_of(with_parameters("      SourceGroup: ${a}\n")),
              Texts{"r.yaml:4:20: no variable 'a' (the recipe has none)"});
}

TEST_F(VariablesOfRecipes, CannotBeSetWhenThereIsNoneOfThatName) {
    EXPECT_EQ(problems_of(GROUP_AND_AXIS, {"grup=x", "axis"}),
              (Texts{"--set grup: no variable of that name (known: axis, group)",
                     "--set axis: has no '='"}));
    EXPECT_EQ(hint_for(GROUP_AND_AXIS, {"grup=x"}), "did you mean 'group'?");
}

TEST_F(VariablesOfRecipes, AreNamedByLettersDigitsAndUnderscores) {
    EXPECT_THAT(problems_of(make("  1a: 1\n  a_1: 2\n", "      Axis: ${a_1}\n")),
                ElementsAre(HasSubstr("r.yaml:2:3: '1a' cannot name a variable")));
    for (const char* text : {"${", "${}", "${a", "${1}", "a ${ a }", "${a b}"}) {
        EXPECT_THAT(
            problems_of(with_parameters("      SourceGroup: '" + std::string(text) + "'\n")),
            ElementsAre(HasSubstr("4:20: '${' without a name and '}' behind it")))
            << text;
    }
}

TEST_F(VariablesOfRecipes, CannotUseEachOther) {
    EXPECT_THAT(problems_of(make("  a: 1\n  b: ${a}\n", "      Axis: ${a}\n"
                                                        "      SourceGroup: ${b}\n")),
                ElementsAre("r.yaml:3:6: a default cannot use variables"));
}

TEST_F(VariablesOfRecipes, ThatAreListsCannotStandWithinATextOrAList) {
    EXPECT_THAT(problems_of(make("  a: [x]\n", "      SourceGroup: G/${a}\n")),
                ElementsAre("r.yaml:6:20: variable 'a' is a list and cannot stand within a text"));
    EXPECT_THAT(problems_of(make("  a: [x]\n", "      SourceSets: ['${a}']\n")),
                ElementsAre(HasSubstr("parameter 'SourceSets' cannot be a list")));
    EXPECT_THAT(problems_of(make("  a: {b: c}\n", "      SourceGroup: ${a}\n")),
                ElementsAre("r.yaml:2:6: a variable cannot be a map"));
}

TEST_F(VariablesOfRecipes, ThatAreWrongForAParameterAreShownWhereTheyAreUsed) {
    EXPECT_THAT(problems_of(GROUP_AND_AXIS, {"axis=last"}),
                ElementsAre(HasSubstr("r.yaml:8:13: parameter 'Axis' cannot be 'last'")));
}

} // namespace
} // namespace talvora::host
