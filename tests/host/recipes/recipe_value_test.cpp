#include "host/recipes/recipe_value.h"
#include "tests/host/comma_locale.h"
#include "tests/host/recipes/recipe_test.h"

#include <cstdint>

namespace talvora::host {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

using RecipeValues = RecipeTest;
using Integers = std::vector<std::int64_t>;

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

} // namespace
} // namespace talvora::host
