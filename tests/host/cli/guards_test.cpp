// Results that would mislead: refused by name, kept where they are accepted by it.
#include "host/hdf5/hdf5_tree.h"
#include "tests/host/cli/cli_test.h"

#include <hdf5.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class Guards : public CommandLine {
  protected:
    void SetUp() override {
        setenv("SOURCE_DATE_EPOCH", "1700000000", 1);
        import_walk();
    }

    // A table of one column whose rows are these cells, as the set GROUP/X.
    void import_cells(const std::string& group, const std::string& rate,
                      const std::vector<std::string>& cells) const {
        std::string table = "X\n";
        for (const std::string& cell : cells) {
            table += cell + "\n";
        }
        write_file(folder_ / "cells.csv", table);
        const auto result = run(
            {"import", "cells.csv", "-o", "walk.h5", "--append", "--group", group, "--rate", rate});
        ASSERT_EQ(result.exit_code, 0) << result.errors;
    }

    // On walk.h5, to out.h5.
    ProgramResult run_unit(const std::string& unit, Program::Words words) const {
        words.insert(words.begin(), {"run", unit, "walk.h5", "-o", "out.h5"});
        return run(words);
    }

    void expect_refused(const ProgramResult& result, const std::string& error) const {
        EXPECT_EQ(result.exit_code, 1) << result.errors;
        EXPECT_THAT(result.errors, HasSubstr(error));
        EXPECT_THAT(result.output, IsEmpty());
        EXPECT_FALSE(fs::exists(folder_ / "out.h5"));
    }
};

// ---------------------------------------------------------------------------
// A step that did nothing

TEST_F(Guards, RefuseAStepThatDidNothing) {
    const auto result = run_unit("apply-set-opposite", {"SourceGroup=Signals", "Axis=0"});
    expect_refused(result, "");
    EXPECT_EQ(result.errors,
              "warning: walk.h5: apply-set-opposite: Axis=0 without Components takes nothing of "
              "any set\n"
              "hint: Components=0 for the first component, or no Axis for whole sets\n"
              "error: walk.h5: apply-set-opposite: nothing-done: no sample changed, and nothing "
              "was made: 0 data sets read, none written\n"
              "hint: list them: talvora-host tree walk.h5; --accept nothing-done keeps it\n");
}

TEST_F(Guards, RefuseASelectionThatMatchesNothing) {
    for (const char* unit : {"average-set", "extract-set-maximum-extrema"}) {
        expect_refused(run_unit(unit, {"SourceGroup=Signals", "DestinationGroup=Results",
                                       "MetricFilter=angle"}),
                       std::string("error: walk.h5: ") + unit + ": nothing-done: ");
    }
    expect_refused(run_unit("average-set-2", {"SourceGroup=Signals", "DestinationSet=Results",
                                              "MetricFilter=angle"}),
                   "error: walk.h5: average-set-2: nothing-done: ");
}

TEST_F(Guards, RefuseAFilterThatFoundNoRunLongEnough) {
    expect_refused(
        run_unit("apply-set-butterworth", {"SourceGroup=Signals", "CutoffFrequency=1", "Order=4"}),
        "nothing-done: no sample changed, and nothing was made: the longest run of valid samples "
        "has 2, the filter takes those of 8 and more\nhint: fill gaps first, or take a lower "
        "Order; --accept nothing-done keeps it\n");
}

TEST_F(Guards, SaySoInADryRunToo) {
    expect_refused(run_unit("apply-set-opposite", {"SourceGroup=Signals", "Axis=0", "-n"}),
                   "nothing-done: ");
}

TEST_F(Guards, AreSilentWhereAUnitHadNothingToChange) {
    import_cells("All", "10", {"1", "2", "3"});
    EXPECT_EQ(run_unit("apply-set-rectify", {"SourceGroup=All"}).errors, "");
    EXPECT_EQ(
        run_unit("apply-set-fill-gap", {"SourceGroup=All", "MaxGapLength=1", "--force"}).errors,
        "");
}

// ---------------------------------------------------------------------------
// An error of a unit that returns success

TEST_F(Guards, RefuseAFeatureThatCouldNotBeMade) {
    {
        Hdf5Tree tree(folder_ / "walk.h5", Hdf5Access::ReadWrite);
        tree.create_group(tree.root(), "Maxima/X");
        tree.close();
    }
    const Program::Words words = {"SourceGroup=Signals", "DestinationGroup=Maxima"};
    const auto result = run_unit("extract-set-maximum-extrema", words);
    expect_refused(result, "");
    EXPECT_EQ(result.errors,
              "error: walk.h5: extract-set-maximum-extrema: Could not create nor retrieve the X "
              "destination set due to an internal error. It will be skipped.\n"
              "error: walk.h5: extract-set-maximum-extrema: unit-error: the unit told of 1 error "
              "and returned success; the first: Could not create nor retrieve the X destination "
              "set due to an internal error. It will be skipped.\n"
              "hint: what it tells of is not in the result; --accept unit-error keeps it\n");
    const auto accepted =
        run_unit("extract-set-maximum-extrema", {words[0], words[1], "--accept", "unit-error"});
    EXPECT_EQ(accepted.exit_code, 0);
    EXPECT_THAT(accepted.errors, HasSubstr("warning: walk.h5: extract-set-maximum-extrema: "
                                           "unit-error (accepted): the unit told of 1 error"));
    EXPECT_THAT(run({"tree", "out.h5"}).output, HasSubstr("Maxima/Y"));
}

TEST_F(Guards, RefuseWhatAnyUnitToldAnErrorOf) {
    const auto result = run_trouble("complain", {"walk.h5", "-o", "out.h5"});
    expect_refused(result, "error: walk.h5: complain: 7 is too many\n"
                           "error: walk.h5: complain: unit-error: the unit told of 1 error and "
                           "returned success; the first: 7 is too many\n");
}

// ---------------------------------------------------------------------------
// A filter of no use

TEST_F(Guards, RefuseAFilterThatCannotBeHad) {
    import_cells("All", "100", std::vector<std::string>(50, "1"));
    const auto filter = [&](const char* cutoff, const char* order) {
        return run_unit("apply-set-butterworth",
                        {"SourceGroup=All", std::string("CutoffFrequency=") + cutoff,
                         std::string("Order=") + order});
    };
    expect_refused(filter("60", "4"),
                   "error: walk.h5: apply-set-butterworth: unusable-filter: at 100 Hz the edge at "
                   "60 Hz is not below half the rate, 50 Hz; the unit takes it as it comes\n"
                   "hint: at this rate CutoffFrequency above 0 and below 40.1122  talvora-host "
                   "design ZeroLagLowPass CutoffFrequency=60 Order=4 --rate 100; --accept "
                   "unusable-filter keeps it\n");
    expect_refused(filter("0.1", "20"), "unusable-filter: at 100 Hz the filter is unstable");
    expect_refused(filter("10", "1"), "unusable-filter: at 100 Hz the filter is of order 0");
}

// ---------------------------------------------------------------------------
// Another time

TEST_F(Guards, RefuseSamplesAtARateThatIsNotTheirs) {
    import_cells("All", "400", std::vector<std::string>(4000, "1"));
    import_cells("Hint", "150", {"1"});
    const auto result = run_unit("apply-set-downsample", {"SourceGroup=All", "HintGroup=Hint"});
    expect_refused(result, "");
    EXPECT_EQ(result.errors,
              "error: walk.h5: apply-set-downsample: time-base: All/X: 4000 samples at 400 Hz, 10 "
              "s become 2000 samples at 150 Hz, 13.3333 s\n"
              "hint: a hint that divides 400 Hz, such as 200 Hz, keeps the time; --accept "
              "time-base keeps it\n");
    const auto accepted = run_unit("apply-set-downsample",
                                   {"SourceGroup=All", "HintGroup=Hint", "--accept", "time-base"});
    EXPECT_EQ(accepted.exit_code, 0);
    EXPECT_EQ(std::ranges::count(accepted.errors, '\n'), 1) << accepted.errors;
}

TEST_F(Guards, TellOfTheFirstSetsAndCountTheOthers) {
    import_cells("Hint", "150", {"1"});
    for (const char* group : {"All/A", "All/B", "All/C", "All/D", "All/E"}) {
        import_cells(group, "400", std::vector<std::string>(4000, "1"));
    }
    const auto result = run_unit("apply-set-downsample", {"SourceGroup=All", "HintGroup=Hint",
                                                          "ScanRecursive=true", "--json"});
    EXPECT_THAT(result.errors,
                AllOf(HasSubstr("time-base: All/C/X: "), Not(HasSubstr("All/D")),
                      HasSubstr("time-base: 2 further findings, which --json tells\nhint: ")));
    EXPECT_EQ(nlohmann::json::parse(result.output)["guards"].size(), 5U);
}

// ---------------------------------------------------------------------------
// What is lost

TEST_F(Guards, RefuseALineThatIsLost) {
    std::vector<std::string> cells(1000, "1");
    for (const std::size_t at : {1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U}) {
        cells[at] = "";
    }
    import_cells("All", "100", cells);
    const auto result = run_unit("apply-set-baseline-offset", {"SourceGroup=All"});
    expect_refused(result, "line-lost: All/X: of 1 line 1 had valid samples and have none any "
                           "more, the first is [0, 0, :]\nhint: fill gaps first");
}

TEST_F(Guards, RefuseASetThatIsOverwrittenForItsRate) {
    import_cells("All", "100", {"1", "2", "3"});
    {
        Hdf5Tree tree(folder_ / "walk.h5", Hdf5Access::ReadWrite);
        tree.write_attribute(tree.find(tree.root(), "All/X").value(), "SampleRate",
                             std::numeric_limits<float>::quiet_NaN());
        tree.close();
    }
    expect_refused(run_unit("apply-set-rectify", {"SourceGroup=All"}),
                   "line-lost: All/X: of 1 line 1 had valid samples and have none any more, the "
                   "first is [0, 0, :]\nhint: its SampleRate is no rate");
}

TEST_F(Guards, RefuseSamplesThatBecameInfinite) {
    import_cells("All", "100", {"-3e38", "-3e38", "3e38"});
    expect_refused(run_unit("apply-set-baseline-offset", {"SourceGroup=All"}),
                   "not-finite: All/X: infinite samples: 1 of 3, none before\nhint: ");
    import_cells("Sum", "100", std::vector<std::string>(16, "3e38"));
    expect_refused(run_unit("average-set", {"SourceGroup=Sum", "DestinationGroup=Results"}),
                   "not-finite: Results/X: infinite samples: 1 of 1, none before\nhint: ");
}

// ---------------------------------------------------------------------------
// Sets that are not taken as one thinks

// Two million of them, 100000 and 100001 in turn: their sum in single precision has no digit left
// for what differs.
TEST_F(Guards, RefuseAMeanThatIsOutsideItsSamples) {
    {
        Hdf5Tree tree(folder_ / "walk.h5", Hdf5Access::ReadWrite);
        std::vector<float> samples(2'000'000, 100000.0F);
        for (std::size_t i = 1; i < samples.size(); i += 2) {
            samples[i] = 100001.0F;
        }
        const Extents extents = {1, 1, samples.size()};
        const Extents starts = {0, 0, 0};
        tree.write(tree.create_dataset(tree.root(), "Pressure/X", extents), {starts, extents},
                   samples);
        tree.close();
    }
    const Program::Words words = {"SourceGroup=Pressure", "DestinationGroup=Means"};
    const auto result = run_unit("average-set", words);
    expect_refused(result, "mean-off: Means/X: of 1 mean of Pressure/X 1 is not that of the "
                           "samples, the first is [0, 0, :]: ");
    EXPECT_THAT(result.errors,
                AllOf(HasSubstr(" for 2000000 samples, which lie between 100000 and 100001 with a "
                                "deviation of 0.5 but for these two; in double precision it is "
                                "100000.5\n"),
                      HasSubstr("apply-set-baseline-offset"), HasSubstr("--accept mean-off")));
    const auto accepted = run_unit("average-set", {words[0], words[1], "--accept", "mean-off"});
    EXPECT_EQ(accepted.exit_code, 0);
    EXPECT_THAT(accepted.errors, HasSubstr("warning: walk.h5: average-set: mean-off (accepted): "));
}

TEST_F(Guards, RefuseAFilterAcrossComponents) {
    {
        Hdf5Tree tree(folder_ / "walk.h5", Hdf5Access::ReadWrite);
        const ObjectId set = tree.create_dataset(tree.root(), "All/X", {100, 3});
        tree.write_attribute(set, "SampleRate", 100.0F);
        tree.close();
    }
    const auto filter = [&](const char* axis) {
        return run_unit("apply-set-butterworth",
                        {"SourceGroup=All", "CutoffFrequency=5", "Order=4", axis});
    };
    expect_refused(filter("Axis=0"), "mixed-components: All/X: of [100, 3] the filter takes 100 "
                                     "samples in a row as they are stored, which along dimension "
                                     "0 are those of 3 components in turn\nhint: Axis=-1, with ");
    expect_refused(filter("Axis=1"), "nothing-done: ");
}

TEST_F(Guards, RefuseToKeepSamplesInWrongPlaces) {
    {
        Hdf5Tree tree(folder_ / "walk.h5", Hdf5Access::ReadWrite);
        const ObjectId set = tree.create_dataset(tree.root(), "All/X", {100, 60, 40});
        tree.write_attribute(set, "SampleRate", 100.0F);
        const ObjectId hint = tree.create_group(tree.root(), "Hint");
        tree.write_attribute(hint, "SampleRate", 50.0F);
        tree.close();
    }
    const auto reduce = [&](const char* axis) {
        return run_unit("apply-set-downsample", {"SourceGroup=All", "HintGroup=Hint", axis});
    };
    expect_refused(reduce("Axis=0"), "misplaced-samples: All/X: of [100, 60, 40] the samples along "
                                     "dimension 0 are kept by requests that ");
    expect_refused(reduce("Axis=1"), "along dimension 1 are kept by requests that ");
    EXPECT_EQ(reduce("Axis=-1").exit_code, 0);
}

TEST_F(Guards, RefuseToPassOverASetWithoutAWord) {
    const hid_t file = H5Fopen((folder_ / "walk.h5").c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
    const hid_t space = H5Screate(H5S_SCALAR);
    const hid_t set = H5Dcreate2(file, "Signals/Offset", H5T_NATIVE_INT, space, H5P_DEFAULT,
                                 H5P_DEFAULT, H5P_DEFAULT);
    H5Dclose(set);
    H5Sclose(space);
    H5Fclose(file);
    const auto result = run_unit("apply-set-rectify", {"SourceGroup=Signals"});
    expect_refused(result, "");
    EXPECT_THAT(result.errors,
                AllOf(StartsWith("error: walk.h5: apply-set-rectify: passed-over: Signals/Offset: "
                                 "is in the source group, and units cannot take it: data set of "
                                 "32-bit integers"),
                      EndsWith("\nhint: if the others are meant: SourceSets=Signals/X "
                               "SourceSets=Signals/Y; --accept passed-over keeps it\n")));
    EXPECT_EQ(run_unit("apply-set-rectify", {"SourceSets=Signals/X"}).errors, "");
}

TEST_F(Guards, RefuseToLeaveASetThatWasChosen) {
    {
        Hdf5Tree tree(folder_ / "walk.h5", Hdf5Access::ReadWrite);
        tree.create_dataset(tree.root(), "Signals/Z", {1, 1, 100});
        tree.close();
    }
    expect_refused(run_unit("apply-set-fill-gap", {"SourceGroup=Signals", "HintMaxGapLength=0.5"}),
                   "passed-over: Signals/Z: was chosen, and the unit neither read nor wrote any "
                   "of its 100 samples\nhint: list them: talvora-host tree walk.h5 "
                   "--attributes; --accept passed-over keeps it\n");
}

// ---------------------------------------------------------------------------
// Warnings

TEST_F(Guards, WarnOfWhatIsRightAndMayNotBeMeant) {
    std::vector<std::string> cells(100, "1");
    cells[2] = cells[90] = "";
    import_cells("All", "100", cells);
    const auto filtered =
        run_unit("apply-set-butterworth", {"SourceGroup=All", "CutoffFrequency=5", "Order=4"});
    EXPECT_EQ(filtered.exit_code, 0);
    EXPECT_EQ(filtered.errors,
              "warning: walk.h5: apply-set-butterworth: All/X: runs of fewer than 8 valid samples "
              "are too short to be filtered: 0 samples stayed as they were, 2 at the ends of lines "
              "became missing\nhint: fill gaps first, or take a lower Order\n");
    EXPECT_THAT(
        run_unit("apply-set-baseline-offset", {"SourceGroup=All", "--force", "--quiet"}).errors,
        HasSubstr("All/X: of 1 line 1 begin with missing samples among the first 10"));
    EXPECT_THAT(
        run_unit("apply-set-opposite", {"SourceGroup=All", "--force", "Components=0"}).errors,
        StartsWith("warning: walk.h5: apply-set-opposite: Components counts only along an "
                   "Axis"));
}

// ---------------------------------------------------------------------------
// Accepted

TEST_F(Guards, LetPassWhatIsAccepted) {
    const auto result = run_unit("apply-set-opposite", {"SourceGroup=Signals", "Axis=0", "--accept",
                                                        "unusable-filter,nothing-done"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.errors,
                EndsWith("warning: walk.h5: apply-set-opposite: nothing-done (accepted): no sample "
                         "changed, and nothing was made: 0 data sets read, none written\n"));
    EXPECT_THAT(run({"history", "out.h5"}).output,
                HasSubstr("\n  accepted nothing-done: no sample changed, "));
    const auto record =
        nlohmann::json::parse(run({"history", "out.h5", "--json"}).output)["history"][0];
    ASSERT_EQ(record["guards"].size(), 1U);
    EXPECT_EQ(record["guards"][0]["name"], "nothing-done");
    EXPECT_EQ(record["guards"][0]["step"], "apply-set-opposite");
}

TEST_F(Guards, LeaveNoTraceWhereTheyDoNotSpeak) {
    const Program::Words words = {"SourceGroup=Signals"};
    EXPECT_EQ(run_unit("apply-set-rectify", words).exit_code, 0);
    const std::string plain = read_file(folder_ / "out.h5");
    EXPECT_EQ(run_unit("apply-set-rectify",
                       {"SourceGroup=Signals", "--accept", "nothing-done", "--force"})
                  .errors,
              "");
    EXPECT_EQ(read_file(folder_ / "out.h5"), plain);
}

TEST_F(Guards, AreKnownByName) {
    const auto result =
        run_unit("apply-set-rectify", {"SourceGroup=Signals", "--accept", "nothing-dun"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_THAT(result.errors,
                AllOf(StartsWith("error: --accept: no guard 'nothing-dun' (known: unusable-filter"),
                      EndsWith("\nhint: did you mean 'nothing-done'?\n")));
}

TEST_F(Guards, AreTakenFromCommandLinesWithWordsBehindThem) {
    EXPECT_EQ(run({"run", "apply-set-opposite", "--accept", "nothing-done", "Axis=0",
                   "SourceGroup=Signals", "walk.h5", "-o", "out.h5"})
                  .exit_code,
              0);
}

// ---------------------------------------------------------------------------
// As structures

TEST_F(Guards, StandInTheDocument) {
    const auto result = run_unit("apply-set-opposite", {"SourceGroup=Signals", "Axis=0", "--json"});
    EXPECT_EQ(result.exit_code, 1);
    const auto json = nlohmann::json::parse(result.output);
    EXPECT_EQ(json["exit_code"], 1);
    EXPECT_EQ(json["written"], false);
    ASSERT_EQ(json["guards"].size(), 1U);
    EXPECT_EQ(json["guards"][0].dump(),
              R"({"accepted":false,"name":"nothing-done","numbers":{"sets_read":0,)"
              R"("sets_written":0},"set":null,"step":"apply-set-opposite","text":"no sample )"
              R"(changed, and nothing was made: 0 data sets read, none written"})");
}

// ---------------------------------------------------------------------------
// Recipes

class RecipeGuards : public Guards {
  protected:
    void write_recipe(const std::string& accept) const {
        write_file(folder_ / "r.yaml", "steps:\n"
                                       "  - name: rectify\n"
                                       "    unit: apply-set-rectify\n"
                                       "    parameters: {SourceGroup: Signals}\n"
                                       "  - name: turn\n"
                                       "    unit: apply-set-opposite\n"
                                       "    parameters: {SourceGroup: Signals, Axis: 0}\n" +
                                           accept);
    }

    ProgramResult run_recipe(Program::Words words) const {
        words.insert(words.begin(), {"recipe", "run", "r.yaml", "walk.h5"});
        return run(words);
    }
};

TEST_F(RecipeGuards, NameTheStep) {
    write_recipe("");
    expect_refused(run_recipe({"-o", "out.h5"}), "error: walk.h5: turn: nothing-done: ");
    EXPECT_EQ(run_recipe({"-o", "out.h5", "--accept", "nothing-done"}).exit_code, 0);
}

TEST_F(RecipeGuards, AreAcceptedAtAStep) {
    write_recipe("    accept: [nothing-done]\n");
    const auto result = run_recipe({"-o", "out.h5"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.errors, HasSubstr("\nwarning: walk.h5: turn: nothing-done (accepted): "));
    const auto history =
        nlohmann::json::parse(run({"history", "out.h5", "--json"}).output)["history"];
    EXPECT_FALSE(history[0].contains("guards"));
    EXPECT_EQ(history[1]["guards"][0]["name"], "nothing-done");
}

TEST_F(RecipeGuards, AreKnownByNameWithTheirPlace) {
    write_recipe("    accept: [nothing-dun, 5, nothing-done]\n");
    const auto result = run({"recipe", "check", "r.yaml"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_THAT(result.errors,
                AllOf(StartsWith("error: r.yaml:8:14: no guard 'nothing-dun' (known: "),
                      HasSubstr("hint: did you mean 'nothing-done'?\n"),
                      HasSubstr("error: r.yaml:8:27: no guard '5'")));
    write_recipe("    accept: nothing-done\n");
    EXPECT_THAT(run({"recipe", "check", "r.yaml"}).errors,
                StartsWith("error: r.yaml:8:13: 'accept' is a list of the names of guards"));
}

TEST_F(RecipeGuards, AreExtractedWhereTheySpoke) {
    write_recipe("    accept: [unusable-filter, nothing-done]\n");
    ASSERT_EQ(run_recipe({"-o", "out.h5"}).exit_code, 0);
    const auto extracted = run({"recipe", "extract", "out.h5"});
    EXPECT_THAT(extracted.output, AllOf(EndsWith("\n    accept: [nothing-done]\n"),
                                        Not(HasSubstr("unusable-filter"))));
    write_file(folder_ / "r.yaml", extracted.output);
    EXPECT_EQ(run_recipe({"-o", "again.h5"}).exit_code, 0);
    EXPECT_EQ(read_file(folder_ / "out.h5"), read_file(folder_ / "again.h5"));
}

TEST_F(RecipeGuards, MakeAResultOfOtherStepsWhereTheyAreAcceptedNoMore) {
    write_recipe("    accept: [nothing-done]\n");
    ASSERT_EQ(run_recipe({"-o", "out.h5"}).exit_code, 0);
    EXPECT_THAT(run_recipe({"-o", "out.h5", "--resume"}).output, HasSubstr("had been written"));
    write_recipe("");
    EXPECT_EQ(run_recipe({"-o", "out.h5", "--resume"}).exit_code, 5);
}

TEST_F(RecipeGuards, AreFoundBeforeARunWhereTheyNeedNoSamples) {
    import_cells("All", "100", std::vector<std::string>(50, "1"));
    write_file(folder_ / "r.yaml",
               "steps:\n"
               "  - unit: apply-set-butterworth\n"
               "    parameters: {SourceGroup: All, CutoffFrequency: 60, Order: 4}\n"
               "  - unit: average-set\n"
               "    parameters: {SourceGroup: 'New/*', DestinationGroup: Results}\n"
               "  - name: down\n"
               "    unit: apply-set-downsample\n"
               "    parameters: {SourceGroup: All, HintSet: Signals/X}\n"
               "  - name: again\n"
               "    unit: apply-set-butterworth\n"
               "    parameters: {SourceGroup: All, CutoffFrequency: 60, Order: 4}\n");
    const auto result = run({"recipe", "check", "r.yaml", "walk.h5"});
    EXPECT_EQ(result.exit_code, 3);
    EXPECT_THAT(result.errors,
                AllOf(HasSubstr("error: walk.h5: apply-set-butterworth: unusable-filter: at 100 "),
                      Not(HasSubstr("again"))));
}

TEST_F(RecipeGuards, RefuseACheckWhatTheyWouldRefuseARun) {
    import_cells("All", "25", std::vector<std::string>(50, "1"));
    write_file(folder_ / "r.yaml", "steps:\n"
                                   "  - unit: apply-set-downsample\n"
                                   "    parameters: {SourceGroup: All, HintSet: Signals/X}\n");
    const auto check = run({"recipe", "check", "r.yaml", "walk.h5"});
    EXPECT_EQ(check.exit_code, 1);
    EXPECT_EQ(check.errors, run_recipe({"-o", "out.h5"}).errors);
    const auto accepted = run({"recipe", "check", "r.yaml", "walk.h5", "--accept", "time-base"});
    EXPECT_EQ(accepted.exit_code, 0);
    EXPECT_THAT(accepted.errors, StartsWith("warning: walk.h5: apply-set-downsample: time-base "
                                            "(accepted): All/X: 50 samples at 25 Hz, 2 s"));
    EXPECT_EQ(accepted.output, "r.yaml: 1 step, nothing wrong\n");
}

} // namespace
} // namespace talvora::host
