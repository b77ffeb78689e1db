// The commands that show something: units, describe, tree, version; and the program.
#include "host/hdf5/hdf5_tree.h"
#include "tests/host/cli/cli_test.h"
#include "tests/support/unit_table.h"

#include <hdf5.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

using Units = CommandLine;
using Describe = CommandLine;
using Tree = CommandLine;
using TheProgram = CommandLine;

TEST_F(Units, AreShownOnePerLine) {
    const auto result = run({"units"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.errors, IsEmpty());
    EXPECT_EQ(std::ranges::count(result.output, '\n'), std::ssize(test_support::UNIT_TABLE));
    EXPECT_THAT(result.output, AllOf(HasSubstr("orvane.signal.apply-set-rectify "),
                                     HasSubstr("Rectify the signal in place\n")));
}

TEST_F(Units, AreListedAsJson) {
    const auto units = nlohmann::json::parse(run({"units", "--json"}).output);
    ASSERT_EQ(units.size(), std::size(test_support::UNIT_TABLE));
    EXPECT_EQ(units[5]["name"], "signal.set-rectify");
    EXPECT_EQ(units[5]["current"], "orvane.signal.apply-set-rectify");
    EXPECT_TRUE(units[5]["version"].is_null());
    EXPECT_EQ(units[12]["version"], "0.1.0");
}

TEST_F(Describe, ShowsParametersAsDeclaredAndAnExample) {
    const auto result = run({"describe", "apply-set-rectify"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.output,
                AllOf(HasSubstr("  SourceSets     list(string)  optional\n"),
                      HasSubstr("  ScanRecursive  boolean       default false\n"),
                      HasSubstr("talvora-host run apply-set-rectify SourceGroup=Signals in.h5 -o "
                                "out.h5\n")));
}

TEST_F(Describe, TellsWhatALegacyIdentifierStandsFor) {
    EXPECT_THAT(run({"describe", "set-rectify"}).output,
                HasSubstr("Legacy identifier of orvane.signal.apply-set-rectify\n"));
}

TEST_F(Describe, GivesDefaultsAsJsonValues) {
    const auto json =
        nlohmann::json::parse(run({"describe", "apply-set-rectify", "--json"}).output);
    EXPECT_EQ(json["parameters"][2]["key"], "ScanRecursive");
    EXPECT_EQ(json["parameters"][2]["default"], false);
    EXPECT_TRUE(json["parameters"][0]["default"].is_null());
}

TEST_F(Describe, NeedsToKnowNothingOfAUnitButItsSignatures) {
    const auto result = run({"describe", "test.trouble.fail", "--plugin", TROUBLE_PLUGIN});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_THAT(result.output,
                AllOf(HasSubstr("  Count  integer  default 1\n"),
                      HasSubstr("\nWrites   the same data sets, in place\n"),
                      HasSubstr("\nExample  talvora-host run fail in.h5 -o out.h5\n")));
}

TEST_F(Describe, TellsWhatTheParametersOfItsUnitsMean) {
    const auto filter = run({"describe", "apply-set-butterworth"}).output;
    EXPECT_THAT(filter,
                AllOf(HasSubstr("  CutoffFrequency  number        required\n"
                                "      the edge, of a band form the centre of the band (Hz; above "
                                "0)\n"),
                      HasSubstr("(one of ZeroLagLowPass, ZeroLagHighPass, ZeroLagBandPass, "
                                "ZeroLagBandStop)\n"),
                      HasSubstr("  (SourceSets or SourceGroup has to be given)\n")));
    EXPECT_THAT(run({"describe", "set-fill-gap"}).output,
                AllOf(HasSubstr("      the longest gap to fill (samples; "),
                      HasSubstr("  (MaxGapLength or HintMaxGapLength has to be given)\n")));
}

TEST_F(Describe, TellsItAsJson) {
    const auto json =
        nlohmann::json::parse(run({"describe", "apply-set-butterworth", "--json"}).output);
    EXPECT_EQ(json["parameters"][3]["measure"], "Hz");
    EXPECT_EQ(json["parameters"][5]["words"].size(), 4U);
    EXPECT_TRUE(json["parameters"][0]["measure"].is_null());
    EXPECT_EQ(json["one_of"], nlohmann::json::parse(R"([["SourceSets", "SourceGroup"]])"));
}

TEST_F(Describe, GivesAnExampleOfAFilterThatDrawsNoWarning) {
    run({"import", TALVORA_EXAMPLES "/imu_excerpt.csv", "-o", "in.h5", "--group", "Signals"});
    const std::string text = run({"describe", "apply-set-butterworth"}).output;
    const std::string start = "Example  talvora-host ";
    std::istringstream line(text.substr(text.find(start) + start.size()));
    Program::Words words;
    for (std::string word; line >> word;) {
        words.push_back(word);
    }
    const auto result = run(words);
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.errors, IsEmpty());
}

TEST_F(Describe, IsPartOfTheHelpOfARunOfTheUnit) {
    const auto help = run({"run", "apply-set-fill-gap", "--help"});
    EXPECT_EQ(help.exit_code, 0) << help.errors;
    EXPECT_THAT(help.output, AllOf(StartsWith(run({"describe", "apply-set-fill-gap"}).output),
                                   HasSubstr(run({"run", "--help"}).output)));
    const auto unknown = run({"run", "apply-set-fil-gap", "--help"});
    EXPECT_EQ(unknown.exit_code, 2);
    EXPECT_THAT(unknown.errors, HasSubstr("did you mean 'apply-set-fill-gap'?"));
}

TEST_F(Describe, ShowsAnExampleThatRuns) {
    import_walk("in.h5");
    const std::string text = run({"describe", "apply-set-rectify"}).output;
    std::istringstream example(text.substr(text.find("talvora-host run ")));
    std::string line;
    std::getline(example, line);
    std::istringstream words(line);
    const Program::Words typed{std::istream_iterator<std::string>(words), {}};
    EXPECT_EQ(run({typed.begin() + 1, typed.end()}).exit_code, 0) << line;
    EXPECT_TRUE(fs::exists(folder_ / "out.h5"));
}

TEST_F(Tree, AlignsWhatAFileHolds) {
    import_walk();
    EXPECT_EQ(run({"tree", "walk.h5", "--statistics"}).output,
              "path       shape       rate  samples  missing  min  max  mean\n"
              "Signals/   group\n"
              "Signals/X  [1, 1, 5]  10 Hz        5        1   -5    2    -2\n"
              "Signals/Y  [1, 1, 5]  10 Hz        5        1    1    1     1\n");
}

TEST_F(Tree, ShowsWhatLinesAreCalledAndTheirUnits) {
    write_file(folder_ / "imu.csv", "t,Gyro X (deg/s),Gyro Y (deg/s),Force (N),Moment (Nm)\n"
                                    "0,1,2,3,4\n1,5,6,7,8\n");
    run({"import", "imu.csv", "-o", "imu.h5", "--set", "Rate=Gyro X (deg/s),Gyro Y (deg/s)",
         "--set", "Load=Force (N),Moment (Nm)", "--set", "Pull=Force (N)"});
    EXPECT_EQ(run({"tree", "imu.h5"}).output,
              "Signals/      group\n"
              "Signals/Load  [2, 1, 2]  1 Hz  Force (N), Moment (Nm)\n"
              "Signals/Pull  [1, 1, 2]  1 Hz  Force (N)\n"
              "Signals/Rate  [2, 1, 2]  1 Hz  X, Y (deg/s)\n");
    EXPECT_EQ(run({"tree", "imu.h5::Signals/Rate", "--statistics"}).output,
              "path          shape      rate  samples  missing  min  max  mean\n"
              "Signals/Rate  [2, 1, 2]  1 Hz        4        0    1    6   3.5  X, Y (deg/s)\n");
    const auto json = nlohmann::json::parse(run({"tree", "imu.h5", "--json"}).output);
    EXPECT_THAT(json["objects"][1]["labels"], ElementsAre("Force", "Moment"));
    EXPECT_THAT(json["objects"][1]["units"], ElementsAre("N", "Nm"));
}

TEST_F(Tree, ShowsARateThatStandsInAnArrayOfOne) {
    import_walk();
    {
        Hdf5Tree tree(folder_ / "walk.h5", Hdf5Access::ReadWrite);
        tree.write_attribute(tree.find(tree.root(), "Signals/X").value(), "SampleRate",
                             NumberArray{{12.5}, {1}});
        tree.close();
    }
    EXPECT_EQ(run({"tree", "walk.h5::Signals/X"}).output, "Signals/X  [1, 1, 5]  12.5 Hz\n");
}

TEST_F(Tree, ShowsAttributesBelowTheirObject) {
    import_walk();
    EXPECT_THAT(run({"tree", "walk.h5::Signals/X", "--attributes"}).output,
                AllOf(StartsWith("Signals/X  [1, 1, 5]  10 Hz\n    SampleRate = "),
                      HasSubstr("    StartTime = 0\n")));
}

TEST_F(Tree, WritesNaNWithoutASignAndCutsLongArraysShort) {
    std::string rows = "X\n0\n";
    for (int gap = 0; gap < 5; ++gap) {
        rows += "nan\n0\n";
    }
    write_file(folder_ / "gaps.csv", rows);
    run({"import", "gaps.csv", "-o", "gaps.h5", "--rate", "10"});
    run({"run", "apply-set-fill-gap", "SourceGroup=Signals", "MaxGapLength=1", "gaps.h5", "-o",
         "filled.h5"});
    run({"run", "average-set", "SourceGroup=Signals", "DestinationGroup=Means", "filled.h5", "-o",
         "means.h5"});
    EXPECT_THAT(
        run({"tree", "means.h5::Means/X", "--attributes"}).output,
        AllOf(StartsWith("Means/X  [1, 1, 1]  NaN Hz\n"), HasSubstr("SampleRate = NaN\n"),
              HasSubstr("FillGapSamplesFilled = [1, 1, 3, 1, 5, 1, 7, 1, ... 10 values]\n")));
}

TEST_F(Tree, ChoosesByAPatternOverFullPaths) {
    import_walk();
    EXPECT_EQ(run({"tree", "walk.h5::*/Y"}).output, "Signals/Y  [1, 1, 5]  10 Hz\n");
    EXPECT_EQ(run({"tree", "walk.h5::Signals"}).output, run({"tree", "walk.h5"}).output);
}

TEST_F(Tree, NamesTheNearestWhenNothingMatches) {
    import_walk();
    const auto result = run({"tree", "walk.h5::Signal"});
    EXPECT_EQ(result.exit_code, 3);
    EXPECT_EQ(result.errors, "error: walk.h5: nothing matches 'Signal'\n"
                             "hint: nearest: Signals    list them: talvora-host tree walk.h5\n");
    EXPECT_THAT(result.output, IsEmpty());
}

TEST_F(Tree, SaysWhyAFileCannotBeLookedAt) {
    const auto result = run({"tree", std::string(300, 'n') + ".h5"});
    EXPECT_EQ(result.exit_code, 3);
    EXPECT_THAT(result.errors, HasSubstr("File name too long"));
}

TEST_F(Tree, TakesAFileWithColonsInItsName) {
    import_walk("a::b.h5");
    EXPECT_EQ(run({"tree", "a::b.h5"}).exit_code, 0);
    EXPECT_EQ(run({"tree", "a::b.h5::Signals/X"}).output, "Signals/X  [1, 1, 5]  10 Hz\n");
}

// What a terminal would take for a command, or for a line of its own, stays out of results.
TEST_F(Tree, KeepsItsLinesWhateverNamesHold) {
    Hdf5Tree tree(folder_ / "odd.h5", Hdf5Access::Create);
    tree.create_dataset(tree.root(), "a\nb\x1b[31m", {1, 1, 0});
    tree.close();
    EXPECT_EQ(run({"tree", "odd.h5"}).output, "a b [31m  [1, 1, 0]\n");
}

TEST_F(Tree, ShowsNoControlCharactersOfEightBits) {
    Hdf5Tree tree(folder_ / "odd.h5", Hdf5Access::Create);
    tree.create_dataset(tree.root(),
                        "a\xC2\x9B"
                        "31m",
                        {1, 1, 0});
    tree.write_attribute(tree.root(), "b\xC2\x9B", std::string("\xC2\x9B\x9B"));
    tree.close();
    EXPECT_THAT(
        run({"tree", "odd.h5", "--attributes"}).output,
        AllOf(HasSubstr("a 31m  [1, 1, 0]\n"), HasSubstr("    b  = "), Not(HasSubstr("\x9B"))));
    const auto result = run({"tree", "odd.h5", "--json"});
    EXPECT_THAT(result.output, Not(HasSubstr("\x9B")));
    EXPECT_EQ(nlohmann::json::parse(result.output)["objects"][0]["path"], "a\xC2\x9B"
                                                                          "31m");
    EXPECT_THAT(run({"tree", "odd.h5::\xC2\x9B"}).errors, Not(HasSubstr("\x9B")));
}

TEST_F(Tree, WritesNanAsNull) {
    Hdf5Tree tree(folder_ / "empty.h5", Hdf5Access::Create);
    tree.create_dataset(tree.root(), "X", {1, 1, 0});
    tree.close();
    const auto json =
        nlohmann::json::parse(run({"tree", "empty.h5", "--statistics", "--json"}).output);
    EXPECT_EQ(json["objects"][0]["statistics"]["samples"], 0);
    EXPECT_TRUE(json["objects"][0]["statistics"]["mean"].is_null());
}

TEST_F(Tree, FollowsAGroupOnceThatIsLinkedIntoItself) {
    import_walk();
    const hid_t file = H5Fopen((folder_ / "walk.h5").c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
    ASSERT_GE(H5Lcreate_soft("/", file, "Signals/Loop", H5P_DEFAULT, H5P_DEFAULT), 0);
    H5Fclose(file);
    EXPECT_THAT(run({"tree", "walk.h5"}).output,
                HasSubstr("Signals/Loop/  group, the same as /\n"));
}

TEST_F(TheProgram, NamesTheNearestCommand) {
    const auto result = run({"tre", "walk.h5"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_EQ(result.errors,
              "error: no command 'tre'\nhint: did you mean 'tree'?  talvora-host --help\n");
}

TEST_F(TheProgram, ShowsHelpAsAResult) {
    for (const Program::Words& words : {Program::Words{"--help"}, {"run", "--help"}}) {
        const auto result = run(words);
        EXPECT_EQ(result.exit_code, 0);
        EXPECT_THAT(result.errors, IsEmpty());
        EXPECT_THAT(result.output, HasSubstr("talvora-host"));
    }
}

TEST_F(TheProgram, RefusesUnknownOptionsAndMissingWords) {
    for (const Program::Words& words :
         {Program::Words{}, {"units", "--jsn"}, {"tree"}, {"describe"}, {"units", "more"}}) {
        const auto result = run(words);
        EXPECT_EQ(result.exit_code, 2);
        EXPECT_THAT(result.errors, StartsWith("error: "));
        EXPECT_THAT(result.output, IsEmpty());
    }
}

TEST_F(TheProgram, TakesItsPluginFromTheOptionThenTheEnvironment) {
    const ProgramOptions environment = {.environment = {{"TALVORA_PLUGIN_PATH", TROUBLE_PLUGIN}}};
    EXPECT_THAT(run({"units"}, environment).output, HasSubstr("test.trouble.fail"));
    const auto result = run({"units", "--plugin", "missing.so"}, environment);
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_THAT(result.errors, HasSubstr("missing.so"));
}

TEST_F(TheProgram, RefusesALibraryThatIsNoPlugin) {
    write_file(folder_ / "no.so", "no library");
    EXPECT_EQ(run({"units", "--plugin", "no.so"}).exit_code, 4);
    EXPECT_EQ(run({"units", "--plugin", "libm.so.6"}).exit_code, 4);
}

TEST_F(TheProgram, PrintsNoColoursIntoAFile) {
    EXPECT_THAT(run({"tre"}).errors, Not(HasSubstr("\x1b")));
}

TEST_F(TheProgram, TellsItsVersionAndThePlugins) {
    const auto result = run({"version"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.output, AllOf(StartsWith("talvora-host " TALVORA_VERSION "\n"),
                                     HasSubstr("kpl-talvra.signal 0.7.0, Orvane Solution inc.")));
}

TEST_F(TheProgram, TellsItsVersionWithoutAPlugin) {
    const auto result = run({"--version", "--plugin", "missing.so"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.output, "talvora-host " TALVORA_VERSION "\n");
}

TEST_F(TheProgram, TellsExitCodesAndEnvironmentInItsHelp) {
    EXPECT_THAT(run({"--help"}).output,
                AllOf(HasSubstr("\nExit codes:\n"),
                      HasSubstr("\n  128 + N   ended by the signal N (130: interrupted"),
                      HasSubstr("\n  TALVORA_PLUGIN_PATH  "), HasSubstr("\nExamples:\n")));
}

TEST_F(TheProgram, KeepsWhatServesTheBuildAndTheShellOutOfItsHelp) {
    EXPECT_THAT(run({"--help"}).output,
                AllOf(Not(HasSubstr("\n  complete ")), Not(HasSubstr("\n  manual "))));
    EXPECT_THAT(run({"complte"}).errors, Not(HasSubstr("did you mean 'complete'")));
}

TEST_F(TheProgram, ShowsDefaultsAndNamesValuesInItsHelp) {
    EXPECT_THAT(run({"run", "--help"}).output,
                AllOf(HasSubstr("  --jobs N "), HasSubstr("(default 1)"),
                      HasSubstr("  --out-dir FOLDER "), HasSubstr("  --in-place  ")));
}

TEST_F(TheProgram, HelpsAsTheOptionDoes) {
    EXPECT_EQ(run({"help"}).output, run({"--help"}).output);
    EXPECT_EQ(run({"help", "tree"}).output, run({"tree", "--help"}).output);
    EXPECT_EQ(run({"help", "recipe", "check"}).output, run({"recipe", "check", "--help"}).output);
    const auto unknown = run({"help", "tre"});
    EXPECT_EQ(unknown.exit_code, 2);
    EXPECT_EQ(unknown.errors,
              "error: no command 'tre'\nhint: did you mean 'tree'?  talvora-host --help\n");
}

} // namespace
} // namespace talvora::host
