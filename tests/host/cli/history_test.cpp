#include "host/hdf5/hdf5_tree.h"
#include "host/recipes/run_history.h"
#include "host/tree/history_attribute.h"
#include "tests/host/cli/cli_test.h"
#include "tests/support/unit_table.h"

#include <hdf5.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <variant>

namespace talvora::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class History : public CommandLine {
  protected:
    void SetUp() override {
        setenv("SOURCE_DATE_EPOCH", "1700000000", 1);
        import_walk();
    }

    nlohmann::json read(const std::string& file) const {
        return nlohmann::json::parse(run({"history", file, "--json"}).output)["history"];
    }
};

TEST_F(History, TellsWhatWasDoneInItsOrder) {
    run({"run", "apply-set-fill-gap", "SourceGroup=Signals", "HintMaxGapLength=1", "walk.h5", "-o",
         "filled.h5"});
    run({"run", "apply-set-rectify", "SourceSets=Signals/X", "filled.h5", "--in-place"});
    const auto result = run({"history", "filled.h5"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_THAT(result.output,
                AllOf(testing::StartsWith("import of walk.csv, "),
                      HasSubstr("\n2023-11-14T22:13:20Z  apply-set-fill-gap\n"),
                      HasSubstr("  input walk.h5, "), HasSubstr("  HintMaxGapLength = 1.0\n"),
                      HasSubstr("  Signals/X: 5 samples at 10 Hz, missing 1 before, 0 after, gaps "
                                "1 filled, 0 left\n"),
                      HasSubstr("2023-11-14T22:13:20Z  apply-set-rectify\n"),
                      HasSubstr("  input filled.h5, ")));
    const auto records = read("filled.h5");
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0]["plugin"]["version"], TALVORA_VERSION);
    EXPECT_EQ(records[0]["input"]["size"], read_file(folder_ / "walk.h5").size());
    EXPECT_EQ(records[1]["parameters"]["SourceSets"], nlohmann::json({"Signals/X"}));
}

TEST_F(History, SaysThatThereIsNone) {
    Hdf5Tree(folder_ / "new.h5", Hdf5Access::Create).close();
    const auto result = run({"history", "new.h5"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.errors, "info: new.h5: no history\n");
    EXPECT_TRUE(read("new.h5").empty());
    EXPECT_TRUE(read("walk.h5").empty());
}

// The hash is that of: sha256sum walk.csv
TEST_F(History, BeginsWithWhatWasImported) {
    write_file(folder_ / "slow.csv", "Z\n1\n2\n3\n");
    run({"import", "slow.csv", "-o", "walk.h5", "--append", "--group", "Slow", "--rate", "5"});
    run({"run", "apply-set-rectify", "SourceGroup=Signals", "walk.h5", "-o", "up.h5"});
    const std::string imports = "import of walk.csv, 39 bytes, sha256 "
                                "04abcbab88ed21eeef9340d696893bedd64a7860e529128ee56014dd1866a785\n"
                                "  talvora-host import walk.csv -o FILE.h5 --group Signals\n"
                                "import of slow.csv, 8 bytes, sha256 "
                                "1b39a8de8ec15e26e56b249a0c71bb33bb62bc4a8c9b44c42758248fb14f41ee\n"
                                "  talvora-host import slow.csv -o FILE.h5 --group Slow --rate 5\n";
    EXPECT_EQ(run({"history", "walk.h5"}).output, imports);
    EXPECT_THAT(run({"history", "up.h5"}).output,
                testing::StartsWith(imports + "2023-11-14T22:13:20Z  apply-set-rectify\n"));
    const auto json = nlohmann::json::parse(run({"history", "up.h5", "--json"}).output);
    EXPECT_EQ(json["imports"][1]["arguments"], nlohmann::json({"--group", "Slow", "--rate", "5"}));
    EXPECT_EQ(json["history"].size(), 1U);
    const std::string recipe = run({"recipe", "extract", "up.h5"}).output;
    EXPECT_THAT(recipe, testing::StartsWith("# imported from walk.csv, 39 bytes, sha256 "));
    EXPECT_THAT(recipe, HasSubstr("\n#   talvora-host import slow.csv -o FILE.h5 --group Slow"));
    write_file(folder_ / "again.yaml", recipe);
    EXPECT_EQ(run({"recipe", "run", "again.yaml", "walk.h5", "-o", "again.h5"}).exit_code, 0);
    EXPECT_EQ(read_file(folder_ / "again.h5"), read_file(folder_ / "up.h5"));
    EXPECT_THAT(run({"tree", "up.h5", "--attributes"}).output, Not(HasSubstr("talvora_imports")));
}

TEST_F(History, IsShownWholeOrNotAtAll) {
    run({"run", "apply-set-rectify", "SourceGroup=Signals", "walk.h5", "--in-place"});
    Hdf5Tree tree(folder_ / "walk.h5", Hdf5Access::ReadWrite);
    auto texts = std::get<TextArray>(*tree.read_attribute(tree.root(), HISTORY_ATTRIBUTE));
    auto odd = nlohmann::json::parse(texts.values.front());
    odd["filters"] = nlohmann::json::array({nlohmann::json::object()});
    texts.extents = {2};
    texts.values.push_back(odd.dump());
    tree.write_attribute(tree.root(), HISTORY_ATTRIBUTE, texts);
    tree.close();
    const auto result = run({"history", "walk.h5"});
    EXPECT_EQ(result.exit_code, 3);
    EXPECT_THAT(result.errors, testing::StartsWith("error: walk.h5: the history cannot be shown"));
    EXPECT_EQ(result.output, "");
}

TEST_F(History, HoldsNoFolderNames) {
    std::filesystem::create_directory(folder_ / "secret");
    const std::string whole = (folder_ / "walk.h5").string();
    run({"run", "apply-set-rectify", "SourceGroup=Signals", whole, "-o", "secret/out.h5"});
    const std::string content = read_file(folder_ / "secret/out.h5");
    EXPECT_THAT(content, HasSubstr("walk.h5"));
    EXPECT_THAT(content, Not(HasSubstr("secret")));
    EXPECT_THAT(content, Not(HasSubstr(folder_.path().filename().string())));
    EXPECT_THAT(content,
                Not(HasSubstr(std::filesystem::path(TALVORA_PLUGIN).parent_path().string())));
}

TEST_F(History, IsNotShownAmongTheAttributesOfTheTree) {
    run({"run", "apply-set-rectify", "SourceGroup=Signals", "walk.h5", "-o", "out.h5"});
    EXPECT_THAT(run({"tree", "out.h5", "--attributes"}).output, Not(HasSubstr("talvora_history")));
}

TEST_F(History, OfAnotherProgramIsNotAddedTo) {
    {
        Hdf5Tree tree(folder_ / "walk.h5", Hdf5Access::ReadWrite);
        tree.write_attribute(tree.root(), "talvora_history", std::int64_t{7});
        tree.close();
    }
    const std::string before = read_file(folder_ / "walk.h5");
    const auto result =
        run({"run", "apply-set-rectify", "SourceGroup=Signals", "walk.h5", "--in-place"});
    EXPECT_EQ(result.exit_code, 3);
    EXPECT_THAT(result.errors,
                HasSubstr("walk.h5: the history in the file cannot be read: the attribute "
                          "'talvora_history' is no list of texts"));
    EXPECT_EQ(read_file(folder_ / "walk.h5"), before);
}

// In the format that other programs make files in, where an attribute takes 4091 texts.
TEST_F(History, HasNoEnd) {
    H5Fclose(H5Fcreate((folder_ / "long.h5").c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT));
    {
        Hdf5Tree tree(folder_ / "long.h5", Hdf5Access::ReadWrite);
        const ObjectId set = tree.create_dataset(tree.root(), "Signals/X", {1, 1, 2});
        tree.write_attribute(set, "SampleRate", 10.0F);
        tree.close();
    }
    const auto run_on_it = [&](const char* unit) {
        const auto result = run({"run", unit, "SourceGroup=Signals", "long.h5", "--in-place"});
        EXPECT_EQ(result.exit_code, 0) << result.errors;
    };
    run_on_it("apply-set-rectify");
    {
        Hdf5Tree tree(folder_ / "long.h5", Hdf5Access::ReadWrite);
        append_history(tree, std::vector<HistoryRecord>(4090, read_history(tree).at(0)));
        tree.close();
    }
    run_on_it("apply-set-opposite");
    const auto records = read("long.h5");
    ASSERT_EQ(records.size(), 4092U);
    EXPECT_EQ(records[4090]["step"], "apply-set-rectify");
    EXPECT_EQ(records[4091]["step"], "apply-set-opposite");
    EXPECT_THAT(run({"recipe", "extract", "long.h5"}).output, HasSubstr("apply-set-opposite"));
    EXPECT_THAT(run({"recipe", "extract", "long.h5", "--all"}).output,
                AllOf(HasSubstr("apply-set-rectify-4091"), HasSubstr("apply-set-opposite")));
    EXPECT_THAT(run({"tree", "long.h5", "--attributes"}).output, Not(HasSubstr("talvora_history")));
}

// What each unit needs to do its work on the recording.
const std::pair<const char*, std::vector<std::string>> UNITS[] = {
    {"apply-set-rectify", {"SourceGroup=Signals"}},
    {"apply-set-opposite", {"SourceGroup=Signals"}},
    {"apply-set-baseline-offset", {"SourceGroup=Long"}},
    {"apply-set-downsample", {"SourceGroup=Signals", "HintSet=Slow/Z"}},
    {"apply-set-fill-gap", {"SourceGroup=Signals", "HintMaxGapLength=1"}},
    {"apply-set-butterworth", {"SourceGroup=Long", "CutoffFrequency=2", "Order=2"}},
    {"average-set", {"SourceGroup=Signals", "DestinationGroup=Results"}},
    {"average-set-2", {"SourceGroup=Signals", "DestinationSet=Results/Means"}},
    {"extract-set-maximum-extrema", {"SourceGroup=Signals", "DestinationGroup=Results"}}};

TEST_F(History, KnowsWhatEveryUnitReadAndWrote) {
    ASSERT_EQ(std::size(UNITS), std::ranges::count(test_support::UNIT_TABLE, nullptr,
                                                   &test_support::ListedUnit::alias_of));
    write_file(folder_ / "slow.csv", "Z\n1\n2\n3\n");
    run({"import", "slow.csv", "-o", "walk.h5", "--append", "--group", "Slow", "--rate", "5"});
    write_file(folder_ / "long.csv", "W\n1\n2\n3\n4\n5\n6\n7\n8\n9\n");
    run({"import", "long.csv", "-o", "walk.h5", "--append", "--group", "Long", "--rate", "10"});
    for (const auto& [unit, parameters] : UNITS) {
        Program::Words words = {"run", unit, "walk.h5", "-o", "out.h5", "--force"};
        words.insert(words.end(), parameters.begin(), parameters.end());
        const auto result = run(words);
        ASSERT_EQ(result.exit_code, 0) << unit << result.errors;
        const auto records = read("out.h5");
        ASSERT_EQ(records.size(), 1U) << unit;
        bool read_any = false;
        bool wrote_any = false;
        for (const auto& set : records[0]["sets"]) {
            read_any = read_any || set["read"].get<bool>();
            wrote_any = wrote_any || set["written"].get<bool>();
        }
        EXPECT_TRUE(read_any && wrote_any) << unit << records[0].dump();
    }
}

} // namespace
} // namespace talvora::host
