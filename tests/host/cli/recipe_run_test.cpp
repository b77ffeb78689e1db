// recipe run, and recipe extract which is its way back.
#include "tests/host/cli/cli_test.h"

#include <nlohmann/json.hpp>

#include <cstdlib>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

class RecipeRun : public CommandLine {
  protected:
    void SetUp() override {
        setenv("SOURCE_DATE_EPOCH", "1700000000", 1);
        import_walk();
        write_file(folder_ / "r.yaml",
                   "variables: {cutoff: 2, set: Signals/X}\n"
                   "steps:\n"
                   "  - name: fill\n"
                   "    unit: apply-set-fill-gap\n"
                   "    parameters: {SourceGroup: Signals, HintMaxGapLength: 1}\n"
                   "  - name: smooth\n"
                   "    unit: apply-set-butterworth\n"
                   "    parameters:\n"
                   "      SourceSets: [\"${set}\"]\n"
                   "      CutoffFrequency: ${cutoff}\n"
                   "      Order: 2\n");
    }

    ProgramResult run_recipe(Program::Words words) const {
        words.insert(words.begin(), {"recipe", "run", "r.yaml"});
        return run(words);
    }
    void expect_same(const std::string& one, const std::string& two) const {
        EXPECT_EQ(read_file(folder_ / one), read_file(folder_ / two));
    }
};

TEST_F(RecipeRun, RunsAllStepsOnOneWorkingCopy) {
    const auto result = run_recipe({"walk.h5", "-o", "out.h5"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_THAT(result.output, AllOf(testing::StartsWith("walk.h5: out.h5 written by 2 steps\n"
                                                         "  fill: Signals/X: 5 samples at 10 Hz"),
                                     HasSubstr("\n  smooth: Signals/X: 5 samples at 10 Hz")));
    const auto history =
        nlohmann::json::parse(run({"history", "out.h5", "--json"}).output)["history"];
    ASSERT_EQ(history.size(), 2U);
    EXPECT_EQ(history[0]["step"], "fill");
    EXPECT_EQ(history[1]["step"], "smooth");
    EXPECT_EQ(history[1]["sets"][0]["before"]["missing"], 0);
    EXPECT_EQ(history[0]["input"], history[1]["input"]);
}

TEST_F(RecipeRun, PublishesNothingWhenALaterStepFails) {
    const auto result = run_recipe({"walk.h5", "-o", "out.h5", "--set", "set=Signals/Z"});
    EXPECT_EQ(result.exit_code, 3);
    EXPECT_THAT(result.errors, HasSubstr("error: walk.h5: smooth: "));
    EXPECT_THAT(folder_.names(), ElementsAre("r.yaml", "walk.csv", "walk.h5"));
}

TEST_F(RecipeRun, TouchesNoFileWhenTheRecipeIsWrong) {
    write_file(folder_ / "r.yaml", "steps:\n  - unit: apply-set-rectfy\n");
    EXPECT_EQ(run_recipe({"missing.h5", "-o", "out.h5"}).exit_code, 2);
}

TEST_F(RecipeRun, NeverReplacesWhatItReads) {
    const std::string recipe = read_file(folder_ / "r.yaml");
    fs::copy_file(TALVORA_PLUGIN, folder_ / "plugin.so");
    const std::string plugin = read_file(folder_ / "plugin.so");
    for (const char* output : {"r.yaml", "plugin.so"}) {
        const auto result =
            run_recipe({"walk.h5", "--plugin", "./plugin.so", "-o", output, "--force"});
        EXPECT_EQ(result.exit_code, 2) << output;
        EXPECT_EQ(result.errors, "error: " + std::string(output) +
                                     ": input and output are the same file\n"
                                     "hint: give the output a name of its own\n");
    }
    EXPECT_EQ(read_file(folder_ / "r.yaml"), recipe);
    EXPECT_EQ(read_file(folder_ / "plugin.so"), plugin);
}

TEST_F(RecipeRun, IsExtractedToARecipeThatMakesTheSameFileAgain) {
    run_recipe({"walk.h5", "-o", "out.h5", "--set", "cutoff=2.5"});
    const auto extracted = run({"recipe", "extract", "out.h5"});
    EXPECT_EQ(extracted.exit_code, 0) << extracted.errors;
    EXPECT_THAT(extracted.output, AllOf(HasSubstr("name: fill"), HasSubstr("2.5")));
    run({"recipe", "extract", "out.h5", "-o", "r.yaml", "--force"});
    EXPECT_EQ(read_file(folder_ / "r.yaml"), extracted.output);
    const auto again = run_recipe({"walk.h5", "-o", "again.h5"});
    EXPECT_EQ(again.exit_code, 0) << again.errors;
    expect_same("out.h5", "again.h5");
}

TEST_F(RecipeRun, ExtractsTheLastRunOrAllOfThem) {
    run({"run", "apply-set-rectify", "SourceGroup=Signals", "walk.h5", "-o", "one.h5"});
    run({"run", "apply-set-opposite", "SourceGroup=Signals", "one.h5", "-o", "two.h5"});
    const auto last = run({"recipe", "extract", "two.h5"});
    EXPECT_THAT(last.output, AllOf(HasSubstr("apply-set-opposite"),
                                   testing::Not(HasSubstr("apply-set-rectify"))));
    write_file(folder_ / "r.yaml", last.output);
    EXPECT_EQ(run_recipe({"one.h5", "-o", "again.h5"}).exit_code, 0);
    expect_same("two.h5", "again.h5");
    EXPECT_THAT(run({"recipe", "extract", "two.h5", "--all"}).output,
                AllOf(HasSubstr("apply-set-rectify"), HasSubstr("apply-set-opposite")));
}

TEST_F(RecipeRun, ExtractsNothingFromAFileWithoutAHistory) {
    const auto result = run({"recipe", "extract", "walk.h5"});
    EXPECT_EQ(result.exit_code, 3);
    EXPECT_EQ(result.errors, "error: walk.h5: no history to take a recipe from\n");
}

TEST_F(RecipeRun, ResumesByTheSameSteps) {
    fs::create_directory(folder_ / "out");
    run_recipe({"walk.h5", "--out-dir", "out"});
    EXPECT_THAT(run_recipe({"walk.h5", "--out-dir", "out", "--resume"}).output,
                HasSubstr("had been written by 2 steps"));
    EXPECT_EQ(
        run_recipe({"walk.h5", "--out-dir", "out", "--resume", "--set", "cutoff=3"}).exit_code, 5);
}

} // namespace
} // namespace talvora::host
