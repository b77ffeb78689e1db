#include "host/recipes/recipe_problems.h"
#include "tests/host/recipes/recipe_test.h"

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

using RecipeProblemList = RecipeTest;

TEST(RecipeProblemsThrown, AreSortedByPlaceBehindThoseOfTheSettings) {
    RecipeProblems problems("r.yaml");
    problems.throw_if_any();
    problems.add({2, 10}, "last", "mend it");
    problems.add({2, 9}, "second");
    problems.add({1, 30}, "first");
    problems.add({2, 9}, "third");
    problems.add_to_setting("rate", "no such variable");
    try {
        problems.throw_if_any();
        FAIL();
    } catch (const RecipeError& error) {
        std::vector<std::string> texts;
        for (const ParameterProblem& problem : error.problems()) {
            texts.push_back(problem.text);
        }
        EXPECT_THAT(texts,
                    ElementsAre("--set rate: no such variable", "r.yaml:1:30: first",
                                "r.yaml:2:9: second", "r.yaml:2:9: third", "r.yaml:2:10: last"));
        EXPECT_EQ(error.problems().back().hint, "mend it");
        EXPECT_STREQ(error.what(), "--set rate: no such variable");
    }
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
