// recipe check, and what describe gives to begin a recipe with.
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
                             "parameters, accept, edges, to_rate, set_by_set)\n"
                             "hint: did you mean 'parameters'?\n");
}

TEST_F(RecipeCheck, KnowsTheWordsAndChoicesOfItsUnits) {
    write_recipe("variables: {form: LowPass}\n"
                 "steps:\n"
                 "  - unit: apply-set-butterworth\n"
                 "    parameters:\n"
                 "      SourceGroup: Signals\n"
                 "      CutoffFrequency: 5\n"
                 "      Order: 4\n"
                 "      Bandform: ${form}\n"
                 "  - unit: apply-set-fill-gap\n"
                 "    parameters:\n"
                 "      SourceGroup: Signals\n");
    const auto result = check({"missing.h5"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_EQ(result.errors,
              "error: r.yaml:8:17: parameter 'Bandform' cannot be 'LowPass' (allowed: "
              "ZeroLagLowPass, ZeroLagHighPass, ZeroLagBandPass, ZeroLagBandStop)\n"
              "hint: did you mean 'ZeroLagLowPass'?\n"
              "error: r.yaml:10:5: neither 'MaxGapLength' nor 'HintMaxGapLength' is given\n"
              "hint: give one of the two\n");
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

TEST_F(RecipeCheck, TellsOfSetsWithoutARateThatAStepNeeds) {
    import_walk();
    ASSERT_EQ(run({"attributes", "walk.h5::Signals/X", "--remove", "SampleRate", "-o", "bare.h5"})
                  .exit_code,
              0);
    for (const std::string step :
         {"apply-set-rectify\n    parameters: {SourceGroup: Signals",
          "apply-set-butterworth\n    parameters: {SourceGroup: Signals, CutoffFrequency: 2, "
          "Order: 4",
          "apply-set-fill-gap\n    parameters: {SourceGroup: Signals, HintMaxGapLength: 0.1",
          "apply-set-downsample\n    parameters: {SourceSets: ['Signals/*'], HintSet: "
          "Signals/Y"}) {
        write_recipe("steps:\n  - unit: " + step + "}\n");
        const auto result = check({"bare.h5"});
        EXPECT_EQ(result.exit_code, 1) << step;
        EXPECT_EQ(result.errors,
                  "error: bare.h5: step '" + step.substr(0, step.find('\n')) +
                      "': without a SampleRate above 0: Signals/X (none)    name others by "
                      "SourceSets\n"
                      "hint: talvora-host attributes bare.h5::Signals/X SampleRate=HZ -o FILE.h5 "
                      "gives it one\n");
        EXPECT_THAT(check({"walk.h5"}).errors, IsEmpty()) << step;
    }
    write_recipe("steps:\n"
                 "  - {unit: apply-set-opposite, parameters: {SourceGroup: Signals}}\n"
                 "  - unit: apply-set-fill-gap\n"
                 "    parameters: {SourceGroup: Signals, MaxGapLength: 5}\n");
    EXPECT_EQ(check({"bare.h5"}).exit_code, 0);
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
    EXPECT_EQ(run({"recipe", "check", "/dev/zero"}).exit_code, 3);
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
    EXPECT_THAT(check({}).errors, HasSubstr("neither 'SourceSets' nor 'SourceGroup' is given"));
    const std::string to_fill_in = "# SourceGroup: \"\"";
    std::string filled_in = skeleton.output;
    filled_in.replace(filled_in.find(to_fill_in), to_fill_in.size(), "SourceGroup: Signals");
    write_recipe(filled_in);
    EXPECT_EQ(check({}).exit_code, 0);
    EXPECT_EQ(run({"describe", "apply-set-rectify", "--recipe", "--json"}).exit_code, 2);
}

} // namespace
} // namespace talvora::host
