#include "host/hdf5/hdf5_tree.h"
#include "tests/host/cli/cli_test.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iterator>
#include <numeric>
#include <optional>
#include <regex>
#include <thread>
#include <utility>
#include <vector>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsNan;
using testing::Not;
using testing::StartsWith;

class Run : public CommandLine {
  protected:
    void SetUp() override {
        setenv("SOURCE_DATE_EPOCH", "1700000000", 1);
        import_walk();
        original_ = content("walk.h5");
    }

    std::string content(const std::string& name) const { return read_file(folder_ / name); }

    std::vector<float> samples(const std::string& name, const std::string& set) const {
        Hdf5Tree tree(folder_ / name, Hdf5Access::ReadOnly);
        std::vector<float> values(5);
        const Extents starts = {0, 0, 0};
        const Extents counts = {1, 1, 5};
        tree.read(tree.find(tree.root(), set).value(), {.starts = starts, .counts = counts},
                  values);
        return values;
    }

    // The folder holds the recording as it was, its table and nothing else.
    void expect_nothing_changed() const {
        EXPECT_EQ(content("walk.h5"), original_);
        EXPECT_THAT(folder_.names(), ElementsAre("walk.csv", "walk.h5"));
    }

    std::string original_;
};

TEST_F(Run, WritesTheResultToTheOutputAndLeavesTheInput) {
    const auto result =
        run({"run", "apply-set-rectify", "SourceSets=Signals/X", "walk.h5", "-o", "out.h5"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.output, "walk.h5: out.h5 written by apply-set-rectify\n"
                             "  Signals/X: 5 samples at 10 Hz, missing 1 before, 1 after, "
                             "gaps 0 filled, 1 left\n");
    EXPECT_THAT(result.errors, IsEmpty());
    EXPECT_THAT(samples("out.h5", "Signals/X"), ElementsAre(1, 2, IsNan(), 4, 5));
    EXPECT_THAT(samples("out.h5", "Signals/Y"), ElementsAre(1, 1, IsNan(), 1, 1));
    EXPECT_EQ(content("walk.h5"), original_);
}

TEST_F(Run, GivesTheSameBytesForTheSameCommand) {
    for (const char* output : {"one.h5", "two.h5"}) {
        run({"run", "apply-set-rectify", "SourceGroup=Signals", "walk.h5", "-o", output});
    }
    EXPECT_EQ(content("one.h5"), content("two.h5"));
    EXPECT_NE(content("one.h5"), original_);
}

TEST_F(Run, KnowsAUnitByEachOfItsNames) {
    for (const char* unit : {"orvane.signal.apply-set-rectify", "signal.set-rectify", "set-rectify",
                             "apply-set-rectify"}) {
        EXPECT_EQ(
            run({"run", unit, "walk.h5", "-n", "-o", "out.h5", "SourceGroup=Signals"}).exit_code, 0)
            << unit;
    }
}

TEST_F(Run, ReplacesTheInputInPlaceAndKeepsABackup) {
    const auto result = run(
        {"run", "apply-set-rectify", "SourceGroup=Signals", "walk.h5", "--in-place", "--backup"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_THAT(samples("walk.h5", "Signals/X"), ElementsAre(1, 2, IsNan(), 4, 5));
    EXPECT_EQ(content("walk.h5.bak"), original_);
}

TEST_F(Run, DoesNotReplaceAnEarlierBackup) {
    write_file(folder_ / "walk.h5.bak", "precious");
    const auto result = run(
        {"run", "apply-set-rectify", "SourceGroup=Signals", "walk.h5", "--in-place", "--backup"});
    EXPECT_EQ(result.exit_code, 5);
    EXPECT_EQ(content("walk.h5.bak"), "precious");
    EXPECT_EQ(content("walk.h5"), original_);
}

TEST_F(Run, OpensAReplacedFileToNobodyToWhomTheInputIsShut) {
    const auto mode_of = [&](const char* file) { return fs::status(folder_ / file).permissions(); };
    fs::permissions(folder_ / "walk.h5", fs::perms{0600});
    for (const char* file : {"out.h5", "walk.h5.bak"}) {
        write_file(folder_ / file, "old");
        fs::permissions(folder_ / file, fs::perms{0644});
    }
    const Program::Words words = {"run", "apply-set-rectify", "SourceGroup=Signals", "walk.h5",
                                  "--force"};
    Program::Words into_file = words;
    into_file.insert(into_file.end(), {"-o", "out.h5"});
    const auto result = run(into_file);
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.errors,
                HasSubstr("warning: out.h5: not kept: rights of some to whom its input is shut\n"));
    EXPECT_EQ(mode_of("out.h5"), fs::perms{0600});
    Program::Words in_place = words;
    in_place.insert(in_place.end(), {"--in-place", "--backup"});
    EXPECT_EQ(run(in_place).exit_code, 0);
    EXPECT_EQ(mode_of("walk.h5.bak"), fs::perms{0600});
    EXPECT_EQ(mode_of("walk.h5"), fs::perms{0600});
}

TEST_F(Run, WritesSeveralFilesIntoAFolder) {
    import_walk("second.h5");
    fs::create_directory(folder_ / "out");
    const auto result = run({"run", "apply-set-rectify", "SourceGroup=Signals", "walk.h5",
                             "second.h5", "--out-dir", "out"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_THAT(samples("out/walk.h5", "Signals/X"), ElementsAre(1, 2, IsNan(), 4, 5));
    EXPECT_THAT(samples("out/second.h5", "Signals/X"), ElementsAre(1, 2, IsNan(), 4, 5));
}

TEST_F(Run, GoesOnAfterAFileThatFailsAndTellsTheWorst) {
    fs::create_directory(folder_ / "out");
    write_file(folder_ / "broken.h5", "no HDF5");
    const auto result = run({"run", "apply-set-rectify", "SourceGroup=Signals", "missing.h5",
                             "broken.h5", "walk.h5", "--out-dir", "out"});
    EXPECT_EQ(result.exit_code, 3);
    EXPECT_THAT(result.errors, HasSubstr("missing.h5"));
    EXPECT_THAT(result.errors, HasSubstr("broken.h5"));
    EXPECT_THAT(result.output, StartsWith("walk.h5: out/walk.h5 written by apply-set-rectify\n"));
}

TEST_F(Run, SaysWhatItWouldDoInADryRun) {
    const auto result =
        run({"run", "apply-set-rectify", "SourceGroup=Signals", "walk.h5", "-o", "out.h5", "-n"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.output,
                StartsWith("walk.h5: out.h5 could be written by apply-set-rectify\n"));
    expect_nothing_changed();
    EXPECT_EQ(run({"run", "apply-set-rectify", "SourceGroup=Imv", "walk.h5", "-o", "out.h5", "-n"})
                  .exit_code,
              3);
}

TEST_F(Run, AsksForOneOutput) {
    const Program::Words base = {"run", "apply-set-rectify", "SourceGroup=Signals", "walk.h5"};
    const auto with = [&](Program::Words more) {
        more.insert(more.begin(), base.begin(), base.end());
        return run(more);
    };
    EXPECT_EQ(with({}).errors, "error: where is the result to go?\n"
                               "hint: give one of -o FILE, --out-dir DIR, --in-place [--backup]\n");
    EXPECT_EQ(with({}).exit_code, 2);
    EXPECT_EQ(with({"-o", "out.h5", "--in-place"}).exit_code, 2);
    EXPECT_EQ(with({"second.h5", "-o", "out.h5"}).exit_code, 2);
    EXPECT_EQ(with({"--backup", "-o", "out.h5"}).exit_code, 2);
    EXPECT_EQ(with({"walk.h5", "--in-place"}).exit_code, 2);
    EXPECT_EQ(run({"run", "apply-set-rectify", "-o", "out.h5"}).exit_code, 2);
    expect_nothing_changed();
}

TEST_F(Run, RefusesTheInputAsOutput) {
    fs::create_symlink("walk.h5", folder_ / "link.h5");
    for (const char* output : {"walk.h5", "./walk.h5", "link.h5"}) {
        const auto result = run({"run", "apply-set-rectify", "SourceGroup=Signals", "walk.h5", "-o",
                                 output, "--force"});
        EXPECT_EQ(result.exit_code, 2) << output;
        EXPECT_THAT(result.errors, HasSubstr("--in-place")) << output;
    }
    EXPECT_EQ(content("walk.h5"), original_);
}

TEST_F(Run, ReplacesAnExistingOutputOnlyWhenForced) {
    write_file(folder_ / "out.h5", "precious");
    Program::Words words = {"run",   "apply-set-rectify", "SourceGroup=Signals", "walk.h5", "-o",
                            "out.h5"};
    const auto refused = run(words);
    EXPECT_EQ(refused.exit_code, 5);
    EXPECT_EQ(refused.errors, "error: out.h5: exists\nhint: --force replaces it\n");
    EXPECT_EQ(content("out.h5"), "precious");
    words.emplace_back("--force");
    EXPECT_EQ(run(words).exit_code, 0);
    EXPECT_THAT(samples("out.h5", "Signals/X"), ElementsAre(1, 2, IsNan(), 4, 5));
}

TEST_F(Run, RefusesOutputFoldersThatAreMissingOrClosed) {
    fs::create_directory(folder_ / "closed");
    fs::permissions(folder_ / "closed", fs::perms{0555});
    fs::permissions(folder_.path(), fs::perms{0755});
    fs::permissions(folder_ / "walk.h5", fs::perms{0644});
    // Nobody may be allowed to enter the folder of the build, where the plug-in lies too.
    const fs::path program = folder_ / "talvora-host";
    fs::copy(TALVORA_HOST_PROGRAM, program);
    fs::copy(TALVORA_PLUGIN, folder_ / "kpl-talvora_signal.so");
    for (const char* output : {"missing/out.h5", "closed/out.h5"}) {
        const auto result =
            run({"run", "apply-set-rectify", "SourceGroup=Signals", "walk.h5", "-o", output},
                {.environment = {}, .without_privileges = true, .program = program});
        EXPECT_EQ(result.exit_code, 5) << result.errors;
        EXPECT_THAT(result.errors, StartsWith(std::string("error: ") + output)) << output;
    }
}

TEST_F(Run, ChecksTheParametersBeforeItLooksForFiles) {
    const auto result = run({"run", "apply-set-rectify", "SourceGrop=Signals", "ScanRecursive=yes",
                             "missing.h5", "-o", "out.h5"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_THAT(result.errors, HasSubstr("unknown parameter 'SourceGrop'"));
    EXPECT_THAT(result.errors, HasSubstr("did you mean 'SourceGroup'?"));
    EXPECT_THAT(result.errors, HasSubstr("'ScanRecursive' cannot be 'yes'"));
    EXPECT_THAT(result.errors, Not(HasSubstr("missing.h5")));
}

TEST_F(Run, TellsWrongWordsAndMissingChoicesBeforeAnythingRuns) {
    const auto word =
        run({"run", "apply-set-butterworth", "SourceGroup=Signals", "CutoffFrequency=5", "Order=4",
             "Bandform=LowPass", "missing.h5", "-o", "out.h5"});
    EXPECT_EQ(word.exit_code, 2);
    EXPECT_EQ(word.errors,
              "error: apply-set-butterworth: parameter 'Bandform' cannot be 'LowPass' (allowed: "
              "ZeroLagLowPass, ZeroLagHighPass, ZeroLagBandPass, ZeroLagBandStop)\n"
              "hint: did you mean 'ZeroLagLowPass'?  talvora-host describe "
              "apply-set-butterworth\n");
    const auto choice = run({"run", "apply-set-rectify", "walk.h5", "-o", "out.h5"});
    EXPECT_EQ(choice.exit_code, 2);
    EXPECT_EQ(choice.errors,
              "error: apply-set-rectify: neither 'SourceSets' nor 'SourceGroup' is given\n"
              "hint: give one of the two  talvora-host describe apply-set-rectify\n");
    expect_nothing_changed();
}

TEST_F(Run, NamesTheNearestUnit) {
    const auto result = run({"run", "apply-set-rectfy", "walk.h5", "-o", "out.h5"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_EQ(result.errors, "error: no unit 'apply-set-rectfy'\n"
                             "hint: did you mean 'apply-set-rectify'?  talvora-host units\n");
}

TEST_F(Run, TakesFilesWithOddNames) {
    for (const std::string name :
         {"with blank.h5", "a=b.h5", "a::b.h5", "Größe.h5", "-x.h5", "[1].h5", "a'b\".h5"}) {
        fs::copy_file(folder_ / "walk.h5", folder_ / name);
        const auto result = run({"run", "apply-set-rectify", "SourceGroup=Signals", "./" + name,
                                 "-o", "./out-" + name});
        EXPECT_EQ(result.exit_code, 0) << name << result.errors;
        EXPECT_THAT(samples("out-" + name, "Signals/X"), ElementsAre(1, 2, IsNan(), 4, 5)) << name;
    }
}

TEST_F(Run, ReportsInputsThatAreNoHdf5Files) {
    write_file(folder_ / "empty.h5", "");
    write_file(folder_ / "truncated.h5", original_.substr(0, original_.size() / 2));
    write_file(folder_ / "text.h5", "t,X\n");
    for (const char* input : {"empty.h5", "truncated.h5", "text.h5", "missing.h5", "."}) {
        const auto result =
            run({"run", "apply-set-rectify", "SourceGroup=Signals", input, "-o", "out.h5"});
        EXPECT_EQ(result.exit_code, 3) << input << result.errors;
        EXPECT_THAT(result.errors, StartsWith("error: ")) << input;
        EXPECT_THAT(result.errors, HasSubstr(std::string("'") + input + "'")) << input;
        EXPECT_FALSE(fs::exists(folder_ / "out.h5")) << input;
    }
}

TEST_F(Run, ShowsTheErrorStackOfTheLibraryOnlyWhenAsked) {
    write_file(folder_ / "truncated.h5", original_.substr(0, original_.size() / 2));
    const Program::Words words = {"run",    "apply-set-rectify", "SourceGroup=Signals", "-o",
                                  "out.h5", "truncated.h5"};
    EXPECT_THAT(run(words).errors, Not(HasSubstr("HDF5-DIAG")));
    Program::Words verbose = words;
    verbose.emplace_back("-v");
    EXPECT_THAT(run(verbose).errors, HasSubstr("HDF5-DIAG"));
}

TEST_F(Run, WritesOneJsonLinePerFile) {
    const auto result =
        run({"run", "apply-set-rectify", "SourceGroup=Imv", "walk.h5", "-o", "out.h5", "--json"});
    const auto json = nlohmann::json::parse(result.output);
    EXPECT_EQ(json["file"], "walk.h5");
    EXPECT_EQ(json["written"], false);
    EXPECT_EQ(json["exit_code"], 3);
    EXPECT_EQ(json["messages"][0]["level"], "error");
    EXPECT_EQ(result.exit_code, 3);
}

// ---------------------------------------------------------------------------
// Names and what they name

TEST_F(Run, EndsAlikeForANameAndAPatternThatFindNothing) {
    for (const char* word :
         {"SourceSets=Signals/Z", "SourceSets=Signals/Z*", "SourceGroup=Imv", "SourceGroup=Imv*"}) {
        const auto result = run({"run", "apply-set-rectify", word, "walk.h5", "-o", "out.h5"});
        EXPECT_EQ(result.exit_code, 3) << word;
        EXPECT_THAT(result.errors, HasSubstr("list them: talvora-host tree walk.h5\n")) << word;
    }
    EXPECT_THAT(
        run({"run", "apply-set-rectify", "SourceSets=Signals/Z", "walk.h5", "-o", "out.h5"}).errors,
        StartsWith("error: walk.h5: apply-set-rectify: No data set 'Signals/Z' found\n"));
    expect_nothing_changed();
}

TEST_F(Run, SaysWhatIsThereInsteadOfADataSetOrAGroup) {
    const auto group =
        run({"run", "apply-set-rectify", "SourceSets=Signals", "walk.h5", "-o", "out.h5"});
    EXPECT_EQ(group.exit_code, 3);
    EXPECT_EQ(group.errors, "error: walk.h5: SourceSets=Signals: that is a group, and a data set "
                            "is wanted\nhint: its data sets are SourceSets=Signals/*\n");
    const auto set =
        run({"run", "apply-set-rectify", "SourceGroup=Signals/X", "walk.h5", "-o", "out.h5"});
    EXPECT_EQ(set.exit_code, 3);
    EXPECT_THAT(set.errors, StartsWith("error: walk.h5: SourceGroup=Signals/X: that is a data set, "
                                       "and a group is wanted\n"));
    expect_nothing_changed();
}

class RunOnOddSets : public Run {
  protected:
    void add_set(const std::string& path, const Extents& extents,
                 std::optional<double> rate) const {
        Hdf5Tree tree(folder_ / "walk.h5", Hdf5Access::ReadWrite);
        const ObjectId set = tree.create_dataset(tree.root(), path, extents);
        if (rate) {
            tree.write_attribute(set, "SampleRate", *rate);
        }
        tree.close();
    }
};

TEST_F(RunOnOddSets, TellsWhichHaveNoRate) {
    add_set("Signals/A", {1, 1, 5}, {});
    add_set("Signals/Z", {1, 1, 5}, -2.0);
    for (const Program::Words& words :
         {Program::Words{"apply-set-rectify"},
          {"apply-set-butterworth", "CutoffFrequency=1", "Order=4"}}) {
        Program::Words all = {"run", "SourceGroup=Signals", "walk.h5", "-o", "out.h5"};
        all.insert(all.begin() + 1, words.begin(), words.end());
        const auto result = run(all);
        EXPECT_EQ(result.exit_code, 1);
        EXPECT_THAT(result.errors,
                    HasSubstr("At least one data set has no 'SampleRate' attribute or its value is "
                              "less than or equal to 0\n"
                              "hint: without a SampleRate above 0: Signals/A (none), Signals/Z (-2 "
                              "Hz)    name others by SourceSets\n"
                              "hint: talvora-host attributes walk.h5::Signals/A SampleRate=HZ -o "
                              "FILE.h5 gives it one\n"));
    }
}

TEST_F(RunOnOddSets, TellsWhichAreOfAnotherShape) {
    add_set("Signals/A", {5}, 10.0);
    const auto result = run({"run", "average-set", "SourceGroup=Signals", "DestinationGroup=Means",
                             "walk.h5", "-o", "out.h5"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.errors,
              "error: walk.h5: average-set: Shape for data set A did not contain 3 elements.\n"
              "hint: not [components, 1, samples]: Signals/A [5]\n"
              "hint: of three dimensions are: X, Y    choose them by NamesFilter\n");
}

TEST_F(RunOnOddSets, TellsThatANameIsAGroups) {
    add_set("Signals/More/A", {1, 1, 5}, 10.0);
    const auto result = run({"run", "average-set", "SourceGroup=Signals", "NamesFilter=More",
                             "NamesFilter=X", "DestinationGroup=Means", "walk.h5", "-o", "out.h5"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.errors, "warning: walk.h5: average-set: No data set 'More' found\n"
                             "hint: a group, no data set: Signals/More\n"
                             "warning: walk.h5: average-set: Means/X: 1 of 1 sample missing, as "
                             "are samples that the set is made of\n"
                             "hint: which sets lack samples: talvora-host tree walk.h5 "
                             "--statistics\n");
}

TEST_F(Run, TellsOfWhichSetAFigureIs) {
    EXPECT_THAT(
        run({"run", "apply-set-baseline-offset", "SourceSets=Signals/Y", "walk.h5", "-o", "out.h5"})
            .errors,
        StartsWith("info: walk.h5: apply-set-baseline-offset: Signals/Y: Computed SNR: "));
}

// A line for each of 20 components is more than a person reads; nothing is kept from who asks.
TEST_F(Run, TellsTheFirstOfManyMessagesOfAUnit) {
    {
        Hdf5Tree tree(folder_ / "wide.h5", Hdf5Access::Create);
        std::vector<float> samples(20 * 20);
        std::iota(samples.begin(), samples.end(), 1.0F);
        const Extents starts = {0, 0, 0};
        const Extents counts = {20, 1, 20};
        tree.write(tree.create_dataset(tree.root(), "Signals/Wide", counts), {starts, counts},
                   samples);
        tree.close();
    }
    const auto count_infos = [](const std::string& errors) {
        const std::regex info("info: wide.h5: apply-set-baseline-offset: .*Computed SNR");
        return std::distance(std::sregex_iterator(errors.begin(), errors.end(), info), {});
    };
    Program::Words words = {
        "run",      "apply-set-baseline-offset", "SourceGroup=Signals", "wide.h5", "-o", "out.h5",
        "--dry-run"};
    const auto told = run(words);
    EXPECT_EQ(told.exit_code, 0);
    EXPECT_EQ(count_infos(told.errors), 12) << told.errors;
    EXPECT_THAT(told.errors,
                HasSubstr("info: wide.h5: apply-set-baseline-offset: 8 further messages, which "
                          "--verbose shows\n"));
    words.push_back("--verbose");
    const auto all = run(words);
    EXPECT_EQ(count_infos(all.errors), 20) << all.errors;
}

// ---------------------------------------------------------------------------
// Units in trouble. Each has changed a sample before.

TEST_F(Run, PublishesNothingOfAUnitThatFails) {
    const auto result = run_trouble("fail", {"walk.h5", "--in-place"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.errors, "error: walk.h5: fail: 7 is too many\n");
    EXPECT_THAT(result.output, IsEmpty());
    expect_nothing_changed();
}

TEST_F(Run, SaysThatAUnitFailedWithoutAWord) {
    const auto result = run_trouble("fail-silently", {"walk.h5", "-o", "out.h5"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.errors, "error: walk.h5: fail-silently: failed without a message\n");
    expect_nothing_changed();
}

TEST_F(Run, PublishesNothingWhenARequestWasRefused) {
    const auto result = run_trouble("read-outside", {"walk.h5", "--in-place"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.errors, StartsWith("error: walk.h5: read-outside: refused: "));
    expect_nothing_changed();
}

TEST_F(Run, SurvivesAUnitThatThrows) {
    const auto result = run_trouble("throw", {"walk.h5", "--in-place"});
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_THAT(result.errors, HasSubstr("out of luck"));
    expect_nothing_changed();
}

TEST_F(Run, TellsThatMemoryHasRunOutAsNoFaultOfTheUnit) {
    const auto result = run_trouble("run-out-of-memory", {"walk.h5", "--in-place"});
    EXPECT_EQ(result.exit_code, 5);
    EXPECT_EQ(result.errors, "error: walk.h5: not enough memory\n");
    expect_nothing_changed();
}

TEST_F(Run, BlamesTheFileForWhatIsBeyondTheBoundOfMemory) {
#if defined(TALVORA_ADDRESS_SANITIZER)
    GTEST_SKIP() << "the sanitizer takes more memory than that";
#endif
    const std::pair<const char*, const char*> examples[] = {
        {"run-out-of-memory", "64"}, {"grow", "64"}, {"succeed", "1"}}; // there is no thread
    for (const auto& [unit, mebibytes] : examples) {
        const auto result =
            run_trouble(unit, {"walk.h5", "--in-place", "--read-memory", mebibytes});
        EXPECT_EQ(result.exit_code, 3) << unit;
        EXPECT_EQ(result.errors,
                  "error: walk.h5: more memory is needed than --read-memory allows\n"
                  "hint: --read-memory MIB allows more; 0: as much as the machine has\n");
        expect_nothing_changed();
    }
}

TEST_F(Run, LeavesEverythingAsItWasWhenTheUnitCrashes) {
#if defined(TALVORA_ADDRESS_SANITIZER)
    GTEST_SKIP() << "the sanitizer takes the signal";
#endif
    const auto result = run_trouble("crash", {"walk.h5", "--in-place"});
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_THAT(result.errors, HasSubstr("crashed"));
    expect_nothing_changed();
}

TEST_F(Run, BlamesTheUnitThatHasSamplesPutWhereNoMemoryIs) {
#if defined(TALVORA_ADDRESS_SANITIZER)
    GTEST_SKIP() << "the sanitizer takes the signal";
#endif
    const auto result = run_trouble("read-into-nothing", {"walk.h5", "--in-place"});
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_THAT(result.errors, StartsWith("error: walk.h5: its worker crashed (SIGSEGV)"));
    expect_nothing_changed();
}

TEST_F(Run, GivesUpAUnitThatIsStopped) {
    const auto result = run_trouble("stop", {"walk.h5", "--in-place", "--idle-time", "1"});
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_THAT(result.errors,
                StartsWith("info: walk.h5: stop: stopping\n"
                           "error: walk.h5: its worker was stopped and did not go on for 1 s"));
    expect_nothing_changed();
}

TEST_F(Run, GivesAUnitTheTimeThatItTakes) {
    Program program(folder_.path(), {"run", "wait", "walk.h5", "--in-place", "--idle-time", "1",
                                     "--plugin", TROUBLE_PLUGIN});
    ASSERT_TRUE(program.waits_for("waiting"));
    std::this_thread::sleep_for(std::chrono::seconds(3));
    program.send(SIGTERM);
    EXPECT_EQ(program.finish().exit_code, 143);
}

TEST_F(Run, TakesAStoppedWorkerAlongWhenItIsInterrupted) {
    Program program(folder_.path(),
                    {"run", "stop", "walk.h5", "--in-place", "--plugin", TROUBLE_PLUGIN});
    ASSERT_TRUE(program.waits_for("stopping"));
    program.send(SIGTERM);
    EXPECT_EQ(program.finish().exit_code, 143);
    expect_nothing_changed();
}

TEST_F(Run, PublishesTheResultOfAUnitWithoutTrouble) {
    EXPECT_EQ(run_trouble("succeed", {"walk.h5", "--in-place"}).exit_code, 0);
    EXPECT_THAT(samples("walk.h5", "Signals/X"), ElementsAre(99, 2, IsNan(), -4, -5));
}

class InterruptedRun : public Run, public testing::WithParamInterface<std::pair<int, int>> {};

TEST_P(InterruptedRun, LeavesEverythingAsItWas) {
    const auto [signal_number, exit_code] = GetParam();
    Program program(folder_.path(),
                    {"run", "wait", "walk.h5", "--in-place", "--plugin", TROUBLE_PLUGIN});
    ASSERT_TRUE(program.waits_for("waiting"));
    EXPECT_EQ(folder_.names().size(), 4U) << "the temporary file is not in the folder";
    EXPECT_THAT(folder_.names(), Contains(".walk.h5.talvora-lock"));
    program.send(signal_number);
    const auto result = program.finish();
    EXPECT_EQ(result.exit_code, exit_code);
    EXPECT_THAT(result.errors, EndsWith("\nerror: interrupted; each file is as it was, or written "
                                        "and complete\n"));
    expect_nothing_changed();
}

INSTANTIATE_TEST_SUITE_P(Signals, InterruptedRun,
                         testing::Values(std::pair{SIGINT, 130}, std::pair{SIGQUIT, 131},
                                         std::pair{SIGTERM, 143}, std::pair{SIGXCPU, 152},
                                         std::pair{SIGUSR1, 138}, std::pair{SIGALRM, 142}));

TEST_F(Run, TellsThatFilesAreCompleteWhenItsOutputCannotBeWritten) {
    const auto result =
        run({"-c", "exec " + std::string(TALVORA_HOST_PROGRAM) +
                       " run set-rectify SourceGroup=Signals walk.h5 -o out.h5 > /dev/full"},
            {.environment = {}, .without_privileges = false, .program = "/bin/bash"});
    EXPECT_EQ(result.exit_code, 5);
    EXPECT_THAT(result.errors, EndsWith("; what was written to files is complete\n"));
    EXPECT_EQ(samples("out.h5", "Signals/X")[0], 1);
}

TEST_F(Run, TakesItsWorkerAlongWhenItIsKilled) {
    {
        Program program(folder_.path(),
                        {"run", "wait", "walk.h5", "--in-place", "--plugin", TROUBLE_PLUGIN});
        ASSERT_TRUE(program.waits_for("waiting"));
        program.send(SIGKILL);
        EXPECT_EQ(program.finish().exit_code, -1);
    }
    for (int i = 0; i < 2000 && folder_.names().size() > 2; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    expect_nothing_changed();
}

TEST_F(Run, SweepsWhatAKilledWorkerLeft) {
    const auto result = run_trouble("kill", {"walk.h5", "--in-place"});
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_THAT(result.errors, StartsWith("error: walk.h5: its worker was killed (SIGKILL)"));
    expect_nothing_changed();
}

TEST_F(Run, BlamesTheOutputWhenTheDiskIsFullInTheMiddleOfAUnit) {
    // A limit on the size of files stands in for a full disk.
    const std::string line = "ulimit -f 8192; trap '' XFSZ; exec " +
                             std::string(TALVORA_HOST_PROGRAM) + " --plugin " + TROUBLE_PLUGIN +
                             " run grow walk.h5 --in-place";
    const auto result =
        run({"-c", line}, {.environment = {}, .without_privileges = false, .program = "/bin/bash"});
    EXPECT_EQ(result.exit_code, 5) << result.errors;
    EXPECT_THAT(result.errors, StartsWith("error: walk.h5: cannot write 'Signals/X': "));
    expect_nothing_changed();
}

TEST_F(Run, BlamesTheOutputWhenAFileMayNotGrow) {
    // The HDF5 library loses memory of its own over a failed write.
    const ProgramOptions shell = {.environment = {{"ASAN_OPTIONS", "detect_leaks=0"}},
                                  .without_privileges = false,
                                  .program = "/bin/bash"};
    const std::string host = std::string(TALVORA_HOST_PROGRAM) + " ";
    const struct {
        int limit; // in KiB
        std::string words;
    } CASES[] = {{8192, "--plugin " TROUBLE_PLUGIN " run grow walk.h5 --in-place"},
                 {1, "run set-rectify SourceGroup=Signals walk.h5 --in-place"},
                 {1, "run set-rectify SourceGroup=Signals walk.h5 --out-dir out --jobs 2"},
                 {1, "import walk.csv -o new.h5"},
                 {1, "plot walk.h5 -o new.html"}};
    for (const auto& [limit, words] : CASES) {
        const auto result =
            run({"-c", "ulimit -f " + std::to_string(limit) + "; exec " + host + words}, shell);
        EXPECT_EQ(result.exit_code, 5) << words << result.errors;
        EXPECT_THAT(result.errors, StartsWith("error: "));
        EXPECT_THAT(result.errors, HasSubstr("File too large"));
        EXPECT_THAT(result.errors,
                    HasSubstr("\nhint: no file may grow beyond " + std::to_string(limit * 1024) +
                              " bytes here: ulimit -f raises it\n"));
        fs::remove(folder_ / "out");
        expect_nothing_changed();
    }
}

// ---------------------------------------------------------------------------
// Others that work on the same files

constexpr const char* OPPOSITE = "apply-set-opposite";

TEST_F(Run, RefusesAFileThatAnotherRunIsWritingTo) {
    Program first(folder_.path(),
                  {"run", "wait", "walk.h5", "--in-place", "--plugin", TROUBLE_PLUGIN});
    ASSERT_TRUE(first.waits_for("waiting"));
    const auto second = run_trouble("succeed", {"walk.h5", "--in-place"});
    EXPECT_EQ(second.exit_code, 5);
    EXPECT_EQ(second.errors, "error: walk.h5: another run is writing to it\n"
                             "hint: try again when it has ended\n");
    first.send(SIGTERM);
    first.finish();
    expect_nothing_changed();
}

TEST_F(Run, LosesNoChangeOfTwoRunsThatBeginTogether) {
    const Program::Words words = {"run", OPPOSITE, "SourceGroup=Signals", "walk.h5", "--in-place"};
    float sign = 1;
    for (int round = 0; round < 10; ++round) {
        Program first(folder_.path(), words);
        Program second(folder_.path(), words);
        for (Program* program : {&first, &second}) {
            const auto result = program->finish();
            EXPECT_THAT(result.exit_code, testing::AnyOf(0, 3, 5)) << result.errors;
            sign = result.exit_code == 0 ? -sign : sign;
        }
        ASSERT_THAT(samples("walk.h5", "Signals/Y"), ElementsAre(sign, sign, IsNan(), sign, sign));
    }
    EXPECT_THAT(folder_.names(), ElementsAre("walk.csv", "walk.h5"));
}

TEST_F(Run, RefusesAnInputThatChangesMeanwhile) {
    for (const Program::Words& output :
         {Program::Words{"--in-place"}, {"--in-place", "--backup"}, {"-o", "out.h5"}}) {
        write_file(folder_ / "walk.h5", original_);
        Program::Words words = output;
        words.emplace_back("walk.h5");
        const auto result = run_trouble("change-input", words);
        EXPECT_EQ(result.exit_code, 3);
        EXPECT_EQ(result.errors, "error: walk.h5: was changed while it was read\n");
        EXPECT_EQ(content("walk.h5"), original_ + "x");
        EXPECT_THAT(folder_.names(), ElementsAre("walk.csv", "walk.h5"));
    }
}

TEST_F(Run, TellsThatOtherNamesKeepTheOldContent) {
    fs::create_hard_link(folder_ / "walk.h5", folder_ / "twin.h5");
    const auto result = run({"run", OPPOSITE, "SourceGroup=Signals", "walk.h5", "--in-place"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.errors, "warning: walk.h5: had 2 names (hard links); the others keep the old "
                             "content\n");
    EXPECT_EQ(content("twin.h5"), original_);
}

// ---------------------------------------------------------------------------
// Rights

TEST_F(Run, OpensNothingToOthersThatIsShutInTheInput) {
    fs::permissions(folder_ / "walk.h5", fs::perms{0600});
    fs::permissions(folder_ / "walk.csv", fs::perms{0600});
    const std::vector<Program::Words> commands = {
        {"run", OPPOSITE, "SourceGroup=Signals", "walk.h5", "-o", "out.h5"},
        {"run", OPPOSITE, "SourceGroup=Signals", "walk.h5", "--in-place", "--backup"},
        {"import", "walk.csv", "-o", "imported.h5"},
        {"export", "walk.h5", "-o", "exported.csv"},
        {"plot", "walk.h5", "-o", "plot.svg"},
        {"plot", "example.h5", "--with", "walk.h5", "-o", "both.svg"},
        {"recipe", "extract", "walk.h5", "-o", "steps.yaml"}};
    fs::copy_file(folder_ / "walk.h5", folder_ / "example.h5");
    fs::permissions(folder_ / "example.h5", fs::perms{0644});
    for (const Program::Words& words : commands) {
        const auto result = run(words);
        EXPECT_EQ(result.exit_code, 0) << result.errors;
    }
    for (const std::string& name : folder_.names()) {
        EXPECT_EQ(fs::status(folder_ / name).permissions(),
                  name == "example.h5" ? fs::perms{0644} : fs::perms{0600})
            << name;
    }
    EXPECT_THAT(folder_.names(), Contains("walk.h5.bak"));
}

TEST_F(Run, HandlesNumbersAlikeInALocaleWithCommas) {
    const Program::Words words = {"run", "apply-set-fill-gap", "SourceGroup=Signals", "walk.h5",
                                  "HintMaxGapLength=0.25"};
    const auto run_to = [&](const std::string& output, const std::string& locale) {
        Program::Words all = words;
        all.insert(all.end(), {"-o", output});
        return run(all, {.environment = {{"LC_ALL", locale}},
                         .without_privileges = false,
                         .program = TALVORA_HOST_PROGRAM});
    };
    EXPECT_EQ(run_to("one.h5", "C").exit_code, 0);
    EXPECT_EQ(run_to("two.h5", "de_DE.UTF-8").exit_code, 0);
    EXPECT_EQ(content("one.h5"), content("two.h5"));
}

} // namespace
} // namespace talvora::host
