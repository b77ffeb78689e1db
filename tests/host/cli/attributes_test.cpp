// The command that shows and sets attributes.
#include "host/hdf5/hdf5_tree.h"
#include "tests/host/cli/cli_test.h"

#include <nlohmann/json.hpp>

#include <filesystem>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

// Signals/X and Signals/Y at 10 Hz, of which X has more attributes.
class Attributes : public CommandLine {
  protected:
    void SetUp() override {
        import_walk();
        Hdf5Tree tree(folder_ / "walk.h5", Hdf5Access::ReadWrite);
        const ObjectId set = tree.find(tree.root(), "Signals/X").value();
        tree.write_attribute_as(set, "Trial", std::int64_t{3}, SampleType::Int16);
        tree.write_attribute(set, "Note", std::string("slow"));
        tree.close();
        before_ = read_file(folder_ / "walk.h5");
    }

    ProgramResult set(const std::string& place, const Program::Words& words) const {
        Program::Words all = {"attributes", place};
        all.insert(all.end(), words.begin(), words.end());
        return run(all);
    }

    std::optional<AttributeValue> read(const std::string& file, const std::string& path,
                                       const std::string& name) const {
        Hdf5Tree tree(folder_ / file, Hdf5Access::ReadOnly);
        return tree.read_attribute(tree.find(tree.root(), path).value(), name);
    }

    void expect_refused(const std::string& place, const Program::Words& words, int exit_code,
                        const std::string& text) const {
        const auto result = set(place, words);
        EXPECT_EQ(result.exit_code, exit_code) << result.errors;
        EXPECT_THAT(result.errors, AllOf(StartsWith("error: "), HasSubstr(text)));
        EXPECT_THAT(result.output, IsEmpty());
        EXPECT_EQ(read_file(folder_ / "walk.h5"), before_);
        EXPECT_FALSE(fs::exists(folder_ / "out.h5"));
    }

    std::string before_;
};

TEST_F(Attributes, AreShownWithTheirTypes) {
    EXPECT_EQ(set("walk.h5::Signals/X", {}).output, "Signals/X\n"
                                                    "    Note = \"slow\"  text\n"
                                                    "    SampleRate = 10  float32\n"
                                                    "    StartTime = 0  float64\n"
                                                    "    Trial = 3  int16\n");
    EXPECT_THAT(set("walk.h5", {}).output,
                AllOf(StartsWith("/\n"), HasSubstr("\nSignals\n"), HasSubstr("\nSignals/Y\n"),
                      Not(HasSubstr("talvora_imports"))));
}

TEST_F(Attributes, AreRefusedWhereNothingWouldReadThem) {
    for (const char* name : {"samplerate", "Sample_Rate"}) {
        expect_refused("walk.h5::Signals/X", {std::string(name) + "=5", "-o", "out.h5"}, 2,
                       std::string("error: walk.h5: Signals/X: no attribute '") + name +
                           "' is there, and nothing would read it\n"
                           "hint: did you mean 'SampleRate'?\n"
                           "hint: if it is meant so, its type says it: " +
                           name + ":int64=...\n");
    }
    EXPECT_EQ(set("walk.h5::Signals/X", {"samplerate:int64=5", "-o", "typed.h5"}).exit_code, 0);
    EXPECT_EQ(read("typed.h5", "Signals/X", "samplerate"), AttributeValue(std::int64_t{5}));
}

TEST_F(Attributes, AreRefusedWhereTheyDoNotFitTheComponents) {
    expect_refused("walk.h5::Signals/X", {"Labels=A,B,C", "-o", "out.h5"}, 2,
                   "error: walk.h5: Signals/X: 3 texts of 'Labels' for 1 component of [1, 1, 5]\n");
    expect_refused("walk.h5::Signals/X", {"Unit=m,s", "-o", "out.h5"}, 2,
                   "error: walk.h5: Signals/X: 2 texts of 'Unit' for 1 component of [1, 1, 5]\n");
    EXPECT_EQ(set("walk.h5::Signals/X", {"Labels=A", "Unit=m", "-o", "fitting.h5"}).exit_code, 0);
    EXPECT_EQ(set("walk.h5::Signals", {"Labels=A,B,C", "-o", "group.h5"}).exit_code, 0);
}

TEST_F(Attributes, AreRefusedWhereLabelsAreAlike) {
    run({"import", "walk.csv", "-o", "pair.h5", "--set", "Both=X,Y"});
    expect_refused("pair.h5::Signals/Both", {"Labels=A,A", "-o", "out.h5"}, 2,
                   "error: pair.h5: Signals/Both: the texts of 'Labels' are 'A', 'A', and name "
                   "nothing where some are alike\nhint: if it is meant so, its type says it: "
                   "Labels:text=...\n");
    EXPECT_EQ(set("pair.h5::Signals/Both", {"Labels=A,B", "-o", "good.h5"}).exit_code, 0);
}

TEST_F(Attributes, AreShownAsJson) {
    const auto json = nlohmann::json::parse(set("walk.h5::Signals/X", {"--json"}).output);
    EXPECT_EQ(json["objects"][0]["path"], "Signals/X");
    EXPECT_EQ(json["objects"][0]["attributes"][3],
              nlohmann::json::parse(R"({"name":"Trial","type":"int16","shape":[],"value":3})"));
}

TEST_F(Attributes, AreSetAndEachChangeIsTold) {
    const auto result = set("walk.h5::Signals/X", {"SampleRate=50", "Unit=N", "Trial=4", "--remove",
                                                   "Note", "-o", "out.h5"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_EQ(result.output, "Signals/X: Note: \"slow\" -> (none)\n"
                             "Signals/X: SampleRate: 10 -> 50\n"
                             "Signals/X: Unit: (none) -> \"N\"  text\n"
                             "Signals/X: Trial: 3 -> 4\n");
    EXPECT_EQ(read("out.h5", "Signals/X", "SampleRate"), AttributeValue(50.0F));
    EXPECT_EQ(read("out.h5", "Signals/X", "Unit"), AttributeValue("N"));
    EXPECT_EQ(read("out.h5", "Signals/X", "Note"), std::nullopt);
    EXPECT_EQ(read("out.h5", "Signals/Y", "SampleRate"), AttributeValue(10.0F));
    EXPECT_EQ(read_file(folder_ / "walk.h5"), before_);
    EXPECT_THAT(set("out.h5::Signals/X", {}).output, HasSubstr("Trial = 4  int16"));
}

TEST_F(Attributes, OfAllSetsThatAPatternMatchesAreSetInPlace) {
    const auto result = set("walk.h5::Signals/*", {"SampleRate=20", "--in-place", "--backup"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_EQ(result.output, "Signals/X: SampleRate: 10 -> 20\nSignals/Y: SampleRate: 10 -> 20\n");
    EXPECT_EQ(read("walk.h5", "Signals/Y", "SampleRate"), AttributeValue(20.0F));
    EXPECT_EQ(read("walk.h5", "Signals", "SampleRate"), AttributeValue(10.0F));
    EXPECT_EQ(read_file(folder_ / "walk.h5.bak"), before_);
}

TEST_F(Attributes, OfGroupsAreSetByTheirPaths) {
    EXPECT_EQ(set("walk.h5::Signals", {"SampleRate=5", "-o", "out.h5"}).output,
              "Signals: SampleRate: 10 -> 5\n");
    EXPECT_EQ(set("walk.h5::/", {"Subject=7", "-o", "root.h5"}).output,
              "/: Subject: (none) -> 7  int64\n");
}

TEST_F(Attributes, LeaveSamplesAndTheHistoryAlone) {
    set("walk.h5::Signals/X", {"SampleRate=50", "-o", "faster.h5"});
    EXPECT_EQ(run({"export", "faster.h5::Signals/Y", "-o", "-"}).output,
              run({"export", "walk.h5::Signals/Y", "-o", "-"}).output);
    EXPECT_EQ(run({"history", "faster.h5"}).output, run({"history", "walk.h5"}).output);
    expect_refused("walk.h5::/", {"talvora_imports=x", "--in-place"}, 2, "neither set nor removed");
    expect_refused("walk.h5::/", {"--remove", "talvora_history_2", "--in-place"}, 2,
                   "neither set nor removed");
}

TEST_F(Attributes, AreRefusedWhereAValueDoesNotFitTheType) {
    expect_refused(
        "walk.h5::Signals/X", {"Trial=40000", "-o", "out.h5"}, 2,
        "walk.h5: Signals/X: attribute 'Trial' is stored as int16: '40000' does not fit\n"
        "hint: another type takes its place: Trial:int64=...");
    expect_refused("walk.h5::Signals/X", {"Trial=0.5", "-o", "out.h5"}, 2, "'0.5' does not fit");
    expect_refused("walk.h5::Signals/X", {"SampleRate=1e39", "-o", "out.h5"}, 2,
                   "is stored as float32: '1e39' does not fit");
    expect_refused("walk.h5::Signals/X", {"Gain:float32=1,1e-60", "-o", "out.h5"}, 2,
                   "is stored as float32 [2]: '1', '1e-60' does not fit");
    expect_refused("walk.h5::Signals/X", {"SampleRate=1e-60", "--in-place"}, 2,
                   "is stored as float32: '1e-60' does not fit");
    expect_refused("walk.h5::Signals/*", {"SampleRate=0", "--in-place"}, 2,
                   "attribute 'SampleRate' cannot be '0' (allowed: one finite number above 0");
    EXPECT_EQ(set("walk.h5::Signals/X", {"Trial:float64=0.5", "-o", "out.h5"}).output,
              "Signals/X: Trial: 3 -> 0.5  float64\n");
}

TEST_F(Attributes, LoseNoDigitOfWholeNumbers) {
    EXPECT_EQ(set("walk.h5::/", {"Id=9223372036854775807", "-o", "largest.h5"}).output,
              "/: Id: (none) -> 9223372036854775807  int64\n");
    EXPECT_EQ(set("walk.h5::/", {"Id=18446744073709551615", "-o", "longer.h5"}).output,
              "/: Id: (none) -> \"18446744073709551615\"  text\n");
    EXPECT_EQ(set("walk.h5::/", {"Ids=1,-9223372036854775809", "-o", "list.h5"}).output,
              "/: Ids: (none) -> [\"1\", \"-9223372036854775809\"]  text [2]\n");
    EXPECT_EQ(set("walk.h5::/", {"Id:float64=18446744073709551615", "-o", "rounded.h5"}).output,
              "/: Id: (none) -> 1.8446744073709552e+19  float64\n");
    expect_refused("walk.h5::/", {"Id:uint64=18446744073709551615", "-o", "out.h5"}, 2,
                   "attribute 'Id' cannot be '18446744073709551615' as uint64 "
                   "(allowed: a whole number of up to 9223372036854775807)");
}

TEST_F(Attributes, AreOfWhatIsThere) {
    expect_refused("walk.h5::Signals/Z", {"A=1", "-o", "out.h5"}, 3, "nothing matches");
    expect_refused("walk.h5::Signals/*", {"--remove", "Trail", "-o", "out.h5"}, 3,
                   "no attribute 'Trail' to remove (there: Note, SampleRate, StartTime, Trial)\n"
                   "hint: did you mean 'Trial'?");
    expect_refused("walk.h5", {"A=1", "-o", "out.h5"}, 2, "attributes of which object?");
    EXPECT_EQ(set("walk.h5::Signals/*", {"--remove", "Trial", "-o", "out.h5"}).output,
              "Signals/X: Trial: 3 -> (none)\n");
}

TEST_F(Attributes, GoWhereTheyAreToldTo) {
    expect_refused("walk.h5::Signals/X", {"A=1"}, 2, "where is the result to go?");
    expect_refused("walk.h5::Signals/X", {"A=1", "-o", "out.h5", "--in-place"}, 2,
                   "more than one place");
    expect_refused("walk.h5::Signals/X", {"A=1", "-o", "walk.h5"}, 2, "the same file");
    expect_refused("walk.h5::Signals/X", {"-o", "out.h5"}, 2, "no attribute to set");
    expect_refused("walk.h5::Signals/X", {"A=1", "--remove", "A", "--in-place"}, 2,
                   "is to be set and removed");
    const auto tried = set("walk.h5::Signals/X", {"Trial=5", "-n", "-o", "out.h5"});
    EXPECT_EQ(tried.output, "Signals/X: Trial: 3 -> 5\n");
    EXPECT_EQ(tried.errors, "info: dry run: out.h5 was not written\n");
    EXPECT_FALSE(fs::exists(folder_ / "out.h5"));
}

} // namespace
} // namespace talvora::host
