#include "host/interface/unit_run.h"
#include "host/recipes/recipe_writer.h"
#include "host/text/failure.h"
#include "tests/host/recipes/recipe_test.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace talvora::host {
namespace {

using testing::HasSubstr;
using testing::SizeIs;

using RecipeWriter = RecipeTest;
using RecipeSkeleton = RecipeTest;

Step make_step(const PluginLibrary& library, const char* unit, ParameterValues::Given given) {
    const Unit* found = library.find_unit(unit);
    return {"step", found, ParameterValues(declare_unit(*found), std::move(given))};
}

TEST_F(RecipeWriter, WritesAims) {
    Step step = make_step(library(), "apply-set-butterworth", {{"Order", std::int64_t{4}}});
    step.aims = {{20.0, 450.5}, 25.0, true};
    EXPECT_THAT(format_recipe({"", {step}}),
                testing::EndsWith("    edges: [20.0, 450.5]\n    to_rate: 25.0\n"
                                  "    set_by_set: true\n"));
}

const std::vector<std::string> NASTY_TEXTS = {"",
                                              " ",
                                              "a b",
                                              "a: b",
                                              "a #b",
                                              "# a",
                                              "- a",
                                              "[a",
                                              "{a}",
                                              "&a",
                                              "*a",
                                              "!a",
                                              "| a",
                                              "> a",
                                              "%a",
                                              "@a",
                                              "`a",
                                              "'a'",
                                              "\"a\"",
                                              "a\\b",
                                              "\\n",
                                              "a\nb\n",
                                              "\n",
                                              "a\r\nb",
                                              "\ta",
                                              "a\tb",
                                              "a\xC2\xA0z\xC2\x85z\xE2\x80\xA8z\xEF\xBB\xBF",
                                              "\xC2\x85",
                                              "~",
                                              "null",
                                              "true",
                                              "No",
                                              "5",
                                              "1e3",
                                              ".inf",
                                              "0x1F",
                                              "2026-11-21",
                                              "---",
                                              "...",
                                              "=",
                                              "<<",
                                              "${a}",
                                              "$${a}",
                                              "$$${a}",
                                              "${",
                                              "$",
                                              "$$",
                                              "gr\xC3\xBC\xC3\x9F"
                                              "e",
                                              "\xE2\x80\xA8",
                                              "\xC2\x85",
                                              "\xEF\xBB\xBF",
                                              "\xF0\x9F\x98\x80",
                                              "\x01\x1F\x7F",
                                              "?",
                                              "? a",
                                              ":",
                                              "a:",
                                              ",",
                                              "a/b.c_d-e",
                                              "-",
                                              "C:\\x\\u0041"};

TEST_F(RecipeWriter, WritesOneCanonicalForm) {
    Recipe recipe{"Two \"steps\"", {}};
    recipe.steps.push_back(make_step(library(), "apply-set-opposite",
                                     {{"SourceSets", Texts{"Imu/a", "Imu/b c"}},
                                      {"Axis", std::int64_t{-1}},
                                      {"ScanRecursive", true},
                                      {"Components", std::vector<std::int64_t>{}}}));
    recipe.steps.push_back({"last", library().find_unit("apply-set-rectify"), {}});
    EXPECT_EQ(format_recipe(recipe), "description: \"Two \\\"steps\\\"\"\n"
                                     "steps:\n"
                                     "  - name: step\n"
                                     "    unit: orvane.signal.apply-set-opposite\n"
                                     "    parameters:\n"
                                     "      SourceSets: [Imu/a, \"Imu/b c\"]\n"
                                     "      ScanRecursive: true\n"
                                     "      Axis: -1\n"
                                     "      Components: []\n"
                                     "  - name: last\n"
                                     "    unit: orvane.signal.apply-set-rectify\n");
}

TEST_F(RecipeWriter, IsReadBackWithEveryText) {
    for (const std::string& text : NASTY_TEXTS) {
        Recipe recipe{text, {}};
        recipe.steps.push_back(make_step(library(), "apply-set-opposite",
                                         {{"SourceGroup", text}, {"SourceSets", NASTY_TEXTS}}));
        if (!text.empty()) {
            recipe.steps.front().name = text;
        }
        const std::string written = format_recipe(recipe);
        SCOPED_TRACE(written);
        const Recipe again = read(written);
        EXPECT_EQ(again.description, text);
        ASSERT_THAT(again.steps, SizeIs(1));
        EXPECT_EQ(again.steps[0].name, recipe.steps[0].name);
        EXPECT_EQ(again.steps[0].unit, recipe.steps[0].unit);
        EXPECT_EQ(again.steps[0].values.given(), recipe.steps[0].values.given());
        EXPECT_EQ(format_recipe(again), written);
    }
}

TEST_F(RecipeWriter, IsReadBackWithEveryNumber) {
    using Limits = std::numeric_limits<double>;
    for (const double number :
         {0.0, -0.0, 1.0, 0.1, -2.5, 1e-300, 1e300, 1.0 / 3, Limits::max(), Limits::min(),
          Limits::denorm_min(), Limits::infinity(), -Limits::infinity()}) {
        Recipe recipe;
        recipe.steps.push_back(make_step(
            library(), "apply-set-butterworth",
            {{"CutoffFrequency", number}, {"Order", std::numeric_limits<std::int64_t>::min()}}));
        const Recipe again = read(format_recipe(recipe));
        EXPECT_EQ(value_of<double>(again, "CutoffFrequency"), number);
        EXPECT_EQ(std::signbit(value_of<double>(again, "CutoffFrequency")), std::signbit(number));
        EXPECT_EQ(value_of<std::int64_t>(again, "Order"), std::numeric_limits<std::int64_t>::min());
    }
    Recipe recipe;
    recipe.steps.push_back(make_step(library(), "apply-set-butterworth",
                                     {{"CutoffFrequency", std::nan("")}, {"Order", 4L}}));
    EXPECT_TRUE(std::isnan(value_of<double>(read(format_recipe(recipe)), "CutoffFrequency")));
}

TEST_F(RecipeWriter, WritesNumbersWithAPointInEveryLocale) {
    const CommaLocale locale;
    Recipe recipe;
    recipe.steps.push_back(make_step(
        library(), "apply-set-butterworth",
        {{"CutoffFrequency", 1234.5}, {"BandWidth", 5.0}, {"Order", std::int64_t{1234567}}}));
    EXPECT_THAT(format_recipe(recipe),
                testing::AllOf(HasSubstr("CutoffFrequency: 1234.5\n"),
                               HasSubstr("BandWidth: 5.0\n"), HasSubstr("Order: 1234567\n")));
}

TEST_F(RecipeWriter, RefusesTextsThatAreNoUtf8) {
    Recipe recipe;
    recipe.steps.push_back(
        make_step(library(), "apply-set-rectify", {{"SourceGroup", std::string("\xFC")}}));
    EXPECT_THROW(format_recipe(recipe), Failure);
}

// ---------------------------------------------------------------------------

std::string fill_in_required(std::string skeleton) {
    const std::pair<const char*, const char*> examples[] = {{"# string, required", "Signals"},
                                                            {"# integer, required", "2"},
                                                            {"# number, required", "10"}};
    for (const auto& [comment, value] : examples) {
        for (auto at = skeleton.find(comment); at != std::string::npos;
             at = skeleton.find(comment)) {
            skeleton.replace(at, std::string(comment).size(), value);
        }
    }
    return skeleton;
}

// Takes the '#' off the lines that show optional parameters.
std::string use_optional(std::string skeleton) {
    constexpr std::string_view MARK = "\n      # ";
    for (auto at = skeleton.find(MARK); at != std::string::npos; at = skeleton.find(MARK)) {
        skeleton.replace(at, MARK.size(), "\n      ");
    }
    return skeleton;
}

TEST_F(RecipeWriter, KeepsTheGuardsThatAStepAccepts) {
    Recipe recipe;
    recipe.steps = {make_step(library(), "apply-set-rectify", {})};
    EXPECT_THAT(format_recipe(recipe), testing::Not(HasSubstr("accept")));
    recipe.steps[0].accept = {"second-guard", "first-guard"};
    EXPECT_EQ(read(format_recipe(recipe)).steps.at(0).accept, recipe.steps[0].accept);
}

TEST_F(RecipeSkeleton, OfEveryUnitIsARecipeOnceItsRequiredParametersAreFilledIn) {
    for (const Unit& unit : library().units()) {
        const auto signatures = declare_unit(unit);
        const std::string skeleton = fill_in_required(format_recipe_skeleton(unit, signatures));
        SCOPED_TRACE(skeleton);
        EXPECT_EQ(problems_of(skeleton), Texts{});
        const Recipe full = read(use_optional(skeleton));
        EXPECT_EQ(full.steps.at(0).unit, &unit);
        EXPECT_EQ(full.steps.at(0).values.given().size(), signatures.size());
    }
}

TEST_F(RecipeSkeleton, GivesTheDeclaredDefaults) {
    const Unit& unit = *library().find_unit("apply-set-butterworth");
    const Recipe recipe = read(fill_in_required(format_recipe_skeleton(unit, declare_unit(unit))));
    const ParameterValues::Given given = {{"CutoffFrequency", 10.0},
                                          {"Order", std::int64_t{2}},
                                          {"Bandform", std::string("ZeroLagLowPass")},
                                          {"BandWidth", 0.0},
                                          {"Axis", std::int64_t{-1}},
                                          {"ScanRecursive", false}};
    EXPECT_EQ(recipe.steps.at(0).values.given(), given);
}

TEST_F(RecipeSkeleton, IsNotTakenWithoutWhatIsRequired) {
    const Unit& unit = *library().find_unit("apply-set-butterworth");
    EXPECT_THAT(
        problems_of(format_recipe_skeleton(unit, declare_unit(unit))),
        testing::ElementsAre(HasSubstr("9:7: parameter 'CutoffFrequency' cannot be nothing"),
                             HasSubstr("10:7: parameter 'Order' cannot be nothing")));
}

} // namespace
} // namespace talvora::host
