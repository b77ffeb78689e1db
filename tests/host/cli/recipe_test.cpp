// recipe check, run and extract, and what describe gives to begin a recipe with.
#include "tests/host/cli/cli_test.h"

namespace talvora::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

class RecipeCheck : public CommandLine {
  protected:
    void write_recipe(const std::string& text) const { write_file(folder_ / "r.yaml", text); }

    ProgramResult check(Program::Words words) const {
        words.insert(words.begin(), {"recipe", "check", "r.yaml"});
        return run(words);
    }
};

const std::string RECTIFY = "variables: {group: Signals}\n"
                            "steps:\n"
                            "  - unit: apply-set-rectify\n"
                            "    parameters:\n"
                            "      SourceGroup: ${group}\n";

TEST_F(RecipeCheck, SaysThatNothingIsWrong) {
    write_recipe(RECTIFY);
    const auto result = check({});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.output, "r.yaml: 1 step, nothing wrong\n");
    EXPECT_THAT(result.errors, IsEmpty());
    EXPECT_THAT(check({"--quiet"}).output, IsEmpty());
}

TEST_F(RecipeCheck, TellsEveryProblemWithItsPlace) {
    write_recipe("steps:\n  - unit: apply-set-rectfy\n    parameter: {}\n");
    const auto result = check({"--set", "group=G"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_THAT(result.output, IsEmpty());
    EXPECT_EQ(result.errors, "error: --set group: no variable of that name (the recipe has none)\n"
                             "error: r.yaml:2:11: no unit 'apply-set-rectfy'\n"
                             "hint: did you mean 'apply-set-rectify'?\n"
                             "error: r.yaml:3:5: unknown key 'parameter' (known: name, unit, "
                             "parameters)\n"
                             "hint: did you mean 'parameters'?\n");
}

TEST_F(RecipeCheck, LooksUpWhatIsNamedInEveryFile) {
    write_recipe(RECTIFY);
    import_walk();
    EXPECT_EQ(check({"walk.h5"}).exit_code, 0);
    const auto result = check({"--set", "group=Signal", "walk.h5", "missing.h5"});
    EXPECT_EQ(result.exit_code, 3);
    EXPECT_THAT(result.errors,
                AllOf(HasSubstr("error: walk.h5: step 'apply-set-rectify': SourceGroup 'Signal' is "
                                "not there (a group is wanted)\nhint: nearest: Signals"),
                      HasSubstr("missing.h5")));
}

TEST_F(RecipeCheck, OpensNoFileForARecipeThatIsWrong) {
    write_recipe("steps: []\n");
    const auto result = check({"missing.h5"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_EQ(result.errors, "error: r.yaml:1:1: the recipe has no steps\n");
}

TEST_F(RecipeCheck, SurvivesWhateverItIsGiven) {
    import_walk();
    EXPECT_EQ(run({"recipe", "check", "walk.h5"}).exit_code, 2);
    EXPECT_EQ(run({"recipe", "check", "missing.yaml"}).exit_code, 3);
    EXPECT_EQ(run({"recipe", "check", "/dev/zero"}).exit_code, 2);
    for (const std::string& text :
         {std::string(), std::string(20'000, '['), std::string(10'000'000, '\xFF'),
          std::string("steps:\n\t- a\n"), std::string("\0\0\0", 3)}) {
        write_recipe(text);
        EXPECT_EQ(check({}).exit_code, 2);
    }
}

TEST_F(RecipeCheck, FindsNothingWrongWithTheExample) {
    run({"import", TALVORA_EXAMPLES "/imu_excerpt.csv", "-o", "walk.h5", "--group", "Imu", "--set",
         "AngularRate=Gyroscope X (deg/s)", "--set", "Acceleration=Accelerometer X (g)"});
    const auto result = run({"recipe", "check", TALVORA_EXAMPLES "/clean_imu.yaml", "walk.h5"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
}

TEST_F(RecipeCheck, TakesTheSkeletonOfAUnit) {
    const auto skeleton = run({"describe", "apply-set-rectify", "--recipe"});
    EXPECT_EQ(skeleton.exit_code, 0);
    EXPECT_THAT(skeleton.output, HasSubstr("# SourceSets: []"));
    write_recipe(skeleton.output);
    EXPECT_EQ(check({}).exit_code, 0);
    EXPECT_EQ(run({"describe", "apply-set-rectify", "--recipe", "--json"}).exit_code, 2);
}

// ---------------------------------------------------------------------------

class RecipeRun : public RecipeCheck {
  protected:
    ProgramResult run_recipe(Program::Words words) const {
        words.insert(words.begin(), {"recipe", "run", "r.yaml"});
        return run(words, AT_A_FIXED_TIME);
    }

    const ProgramOptions AT_A_FIXED_TIME = {.environment = {{"SOURCE_DATE_EPOCH", "1000000000"}}};
};

using RecipeExtract = RecipeRun;

const std::string TWO_STEPS = "variables: {gap: 1}\n"
                              "steps:\n"
                              "  - name: fill\n"
                              "    unit: apply-set-fill-gap\n"
                              "    parameters: {SourceGroup: Signals, MaxGapLength: \"${gap}\"}\n"
                              "  - name: rectify\n"
                              "    unit: apply-set-rectify\n"
                              "    parameters: {SourceGroup: Signals}\n";

TEST_F(RecipeRun, DoesItsStepsInOrder) {
    write_recipe(TWO_STEPS);
    import_walk();
    const auto result = run_recipe({"walk.h5", "-o", "done.h5"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    // Filled with -1 between 2 and -4 first, then rectified: 1, 2, 1, 4, 5.
    EXPECT_THAT(run({"tree", "done.h5::Signals/X", "--statistics"}).output,
                HasSubstr("Signals/X  [1, 1, 5]  10 Hz        5        0    1    5   2.6\n"));
}

TEST_F(RecipeRun, WritesNothingWhenALaterStepFails) {
    write_recipe(TWO_STEPS + "  - unit: apply-set-opposite\n"
                             "    parameters: {SourceGroup: Nowhere}\n");
    import_walk();
    EXPECT_EQ(run_recipe({"walk.h5", "-o", "done.h5"}).exit_code, 1);
    EXPECT_EQ(folder_.names(), (std::set<std::string>{"r.yaml", "walk.csv", "walk.h5"}));
}

TEST_F(RecipeRun, TouchesNoFileForARecipeThatIsWrong) {
    write_recipe(TWO_STEPS);
    const auto result = run_recipe({"missing.h5", "-o", "done.h5", "--set", "gap=x"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_THAT(result.errors, HasSubstr("r.yaml:5:54: parameter 'MaxGapLength' cannot be 'x'"));
}

TEST_F(RecipeExtract, GivesTheRecipeThatMakesTheSameBytes) {
    write_recipe(TWO_STEPS);
    import_walk();
    run_recipe({"walk.h5", "-o", "done.h5", "--set", "gap=2"});
    const auto extracted = run({"recipe", "extract", "done.h5", "-o", "again.yaml"});
    EXPECT_EQ(extracted.exit_code, 0) << extracted.errors;
    const auto again =
        run({"recipe", "run", "again.yaml", "walk.h5", "-o", "again.h5"}, AT_A_FIXED_TIME);
    EXPECT_EQ(again.exit_code, 0) << again.errors;
    EXPECT_EQ(read_file(folder_ / "again.h5"), read_file(folder_ / "done.h5"));
}

TEST_F(RecipeExtract, TakesTheLastRunOrAllOfThem) {
    write_recipe(TWO_STEPS);
    import_walk();
    run_recipe({"walk.h5", "-o", "done.h5"});
    run({"run", "apply-set-opposite", "SourceGroup=Signals", "done.h5", "-o", "more.h5"});
    EXPECT_THAT(run({"recipe", "extract", "more.h5"}).output,
                AllOf(HasSubstr("apply-set-opposite"), testing::Not(HasSubstr("fill"))));
    EXPECT_THAT(run({"recipe", "extract", "more.h5", "--all"}).output,
                AllOf(HasSubstr("name: fill"), HasSubstr("name: rectify"),
                      HasSubstr("apply-set-opposite")));
}

TEST_F(RecipeExtract, SaysSoWhenThereIsNoHistory) {
    import_walk();
    const auto result = run({"recipe", "extract", "walk.h5"});
    EXPECT_EQ(result.exit_code, 3);
    EXPECT_EQ(result.errors, "error: walk.h5: no history to take a recipe from\n");
}

} // namespace
} // namespace talvora::host
