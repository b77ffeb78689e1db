#include "host/hdf5/hdf5_tree.h"
#include "host/recipes/run_history.h"
#include "host/text/failure.h"
#include "host/tree/history_attribute.h"
#include "host/tree/memory_tree.h"
#include "tests/host/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hdf5.h>

#include <cstdlib>
#include <limits>

namespace talvora::host {
namespace {

using testing::IsEmpty;

class RunHistory : public testing::Test {
  protected:
    RunHistory() {
        unit_.name = "maker.sample";
        const std::vector<ParameterSignature> signatures = {
            parse_signature("Sets: list(string)", false),
            parse_signature("Axis: integer = -1", false), parse_signature("Limit: number", false),
            parse_signature("Deep: boolean = false", false)};
        recipe_.steps.push_back(
            {"first", &unit_, {signatures, {{"Limit", std::numeric_limits<double>::infinity()}}}});
        recipe_.steps.push_back(
            {"second", &unit_, {signatures, {{"Sets", std::vector<std::string>{"a", "ü"}}}}});
    }

    std::vector<HistoryRecord> make_records() const {
        return {make_record(origin_, recipe_, 0, {}, {}), make_record(origin_, recipe_, 1, {}, {})};
    }

    Unit unit_;
    Recipe recipe_;
    RunOrigin origin_{"2026-01-02T03:04:05Z",
                      "1.2.3",
                      {"plug-in", "4.5.6", "aa"},
                      InputIdentity{"walk.h5", 1234, "bb"}};
};

TEST_F(RunHistory, KeepsAimsAndWhatWasFoundForThem) {
    recipe_.steps[1].aims = {{20.0, 450.0}, 25.0, true};
    const std::vector<FoundParameters> found = {{"", {{"Axis", std::int64_t{2}}}},
                                                {"Imu/A", {{"Limit", 0.5}}}};
    const HistoryRecord record = make_record(origin_, recipe_, 1, {}, {}, {}, found);
    EXPECT_EQ(record.at("edges"), HistoryRecord::parse("[20.0,450.0]"));
    EXPECT_EQ(record.at("to_rate"), 25.0);
    EXPECT_EQ(record.at("set_by_set"), true);
    EXPECT_EQ(record.at("parameters").at("Axis"), 2);
    EXPECT_EQ(record.at("parameters").at("Limit"), nullptr);
    EXPECT_EQ(record.at("found"), HistoryRecord::parse(R"([
        {"set": null, "parameters": {"Axis": 2}},
        {"set": "Imu/A", "parameters": {"Limit": 0.5}}])"));
}

TEST_F(RunHistory, TellsRunsWithOtherAimsApart) {
    recipe_.steps[1].aims.edges = {20.0};
    std::vector<HistoryRecord> records = make_records();
    const std::vector<FoundParameters> found = {{"", {{"Limit", 0.5}}}};
    records[1] = make_record(origin_, recipe_, 1, {}, {}, {}, found);
    EXPECT_TRUE(was_made_by(records, origin_, recipe_));
    recipe_.steps[1].aims.edges = {21.0};
    EXPECT_FALSE(was_made_by(records, origin_, recipe_));
    recipe_.steps[1].aims = {};
    EXPECT_FALSE(was_made_by(records, origin_, recipe_));
}

TEST_F(RunHistory, TellsTheTimeThatTheEnvironmentGives) {
    setenv("SOURCE_DATE_EPOCH", "1700000000", 1); // date -u -d @1700000000
    EXPECT_EQ(make_timestamp(), "2023-11-14T22:13:20Z");
    for (const char* wrong : {"yesterday", "-1", "1.5", "999999999999999999999"}) {
        setenv("SOURCE_DATE_EPOCH", wrong, 1);
        EXPECT_THROW(make_timestamp(), Failure) << wrong;
    }
    unsetenv("SOURCE_DATE_EPOCH");
    EXPECT_EQ(make_timestamp().size(), 20U);
}

TEST_F(RunHistory, RecordsEveryParameterAfterDefaults) {
    const HistoryRecord record = make_record(origin_, recipe_, 0, {}, {});
    EXPECT_EQ(record.at("parameters").dump(),
              R"({"Sets":null,"Axis":-1,"Limit":"inf","Deep":false})");
    EXPECT_EQ(record.at("step"), "first");
    EXPECT_EQ(record.at("step_number"), 1);
    EXPECT_EQ(record.at("step_count"), 2);
}

TEST_F(RunHistory, RecordsWhatFiltersDoWhereThereAreAny) {
    const auto filters = nlohmann::ordered_json::parse(R"([{"sample_rate":100}])");
    EXPECT_EQ(make_record(origin_, recipe_, 0, {}, filters).at("filters"), filters);
    EXPECT_FALSE(make_record(origin_, recipe_, 0, {}, {}).contains("filters"));
    EXPECT_FALSE(
        make_record(origin_, recipe_, 0, {}, nlohmann::ordered_json::array()).contains("filters"));
}

TEST_F(RunHistory, RecordsTheGuardsThatWereAccepted) {
    const auto guards = nlohmann::ordered_json::parse(R"([{"name":"nothing-done"}])");
    EXPECT_EQ(make_record(origin_, recipe_, 0, {}, {}, guards).at("guards"), guards);
    EXPECT_FALSE(make_record(origin_, recipe_, 0, {}, {}, nlohmann::ordered_json::array())
                     .contains("guards"));
}

TEST_F(RunHistory, ReadsWhatItWroteOldestFirst) {
    MemoryTree tree;
    EXPECT_THAT(read_history(tree, "file.h5"), IsEmpty());
    const auto records = make_records();
    append_history(tree, std::span(records).first(1));
    append_history(tree, std::span(records).last(1));
    EXPECT_EQ(read_history(tree, "file.h5"), records);
}

TEST_F(RunHistory, GoesFarBeyondTheSixtyFourKibibytesOfAnAttribute) {
    const TemporaryFolder folder;
    HistoryRecord large = make_records()[0];
    large["step"] = std::string(200'000, 'x');
    const std::vector<HistoryRecord> records(5, large);
    {
        Hdf5Tree tree(folder / "file.h5", Hdf5Access::Create);
        append_history(tree, records);
        append_history(tree, records);
        tree.close();
    }
    Hdf5Tree tree(folder / "file.h5", Hdf5Access::ReadOnly);
    const auto history = read_history(tree, "file.h5");
    ASSERT_EQ(history.size(), 10U);
    EXPECT_EQ(history.back(), large);
}

TEST_F(RunHistory, KeepsThousandsOfRecords) {
    const TemporaryFolder folder;
    Hdf5Tree tree(folder / "file.h5", Hdf5Access::Create);
    const std::vector<HistoryRecord> records(6000, HistoryRecord{{"step", "x"}});
    append_history(tree, records);
    EXPECT_EQ(read_history(tree, "file.h5").size(), records.size());
}

// As other programs make them unless they are asked for a newer one: an attribute there has at most
// 64 KiB, which takes 4091 texts.
void make_file_of_the_oldest_format(const std::filesystem::path& file) {
    H5Fclose(H5Fcreate(file.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT));
}

std::vector<HistoryRecord> make_numbered(int first, int count) {
    std::vector<HistoryRecord> records;
    for (int i = first; i < first + count; ++i) {
        records.push_back(HistoryRecord{{"step", i}});
    }
    return records;
}

TEST_F(RunHistory, GoesOnInFurtherAttributes) {
    const TemporaryFolder folder;
    make_file_of_the_oldest_format(folder / "file.h5");
    int count = 0;
    for (const int appended : {3999, 1, 1, 20'000, 1}) {
        Hdf5Tree tree(folder / "file.h5", Hdf5Access::ReadWrite);
        append_history(tree, make_numbered(count, appended));
        count += appended;
        EXPECT_EQ(read_history(tree), make_numbered(0, count));
        tree.close();
    }
    Hdf5Tree tree(folder / "file.h5", Hdf5Access::ReadOnly);
    EXPECT_EQ(read_history(tree), make_numbered(0, count));
    EXPECT_EQ(tree.list_attributes(tree.root()).size(), 7U);
}

// As many as an attribute took before there were further ones, in either format.
TEST_F(RunHistory, GoesOnBehindAnAttributeThatIsFuller) {
    for (const std::size_t full : {4091U, 9000U}) {
        MemoryTree tree;
        const auto older = make_numbered(0, static_cast<int>(full));
        TextArray texts{{}, {full}};
        for (const HistoryRecord& record : older) {
            texts.values.push_back(record.dump());
        }
        tree.write_attribute(tree.root(), HISTORY_ATTRIBUTE, texts);
        append_history(tree, make_numbered(static_cast<int>(full), 2));
        EXPECT_EQ(tree.read_attribute(tree.root(), HISTORY_ATTRIBUTE), AttributeValue(texts));
        EXPECT_EQ(read_history(tree), make_numbered(0, static_cast<int>(full) + 2));
    }
}

TEST_F(RunHistory, FindsTheLastRun) {
    auto history = make_records();
    history.push_back(make_record(origin_, recipe_, 0, {}, {}));
    history.push_back(make_record(origin_, recipe_, 1, {}, {}));
    EXPECT_EQ(last_run(history).size(), 2U);
    EXPECT_THAT(last_run({}), IsEmpty());
}

TEST_F(RunHistory, TellsOfALibraryThatRanUnitsInMemory) {
    origin_.host_name = "libtalvora";
    origin_.input = std::nullopt;
    const HistoryRecord record = make_record(origin_, recipe_, 0, {}, {});
    EXPECT_EQ(record.at("host"),
              HistoryRecord::parse(R"({"name": "libtalvora", "version": "1.2.3"})"));
    EXPECT_EQ(record.at("input"), nullptr);
    // What is not known cannot be the same.
    EXPECT_FALSE(was_made_by(make_records(), origin_, recipe_));
}

TEST_F(RunHistory, KnowsARunByItsStepsPluginAndInput) {
    const auto history = make_records();
    EXPECT_TRUE(was_made_by(history, origin_, recipe_));
    EXPECT_FALSE(was_made_by({}, origin_, recipe_));

    RunOrigin other = origin_;
    other.time = "2030-01-01T00:00:00Z"; // no matter
    other.input->name = "copy.h5";
    EXPECT_TRUE(was_made_by(history, other, recipe_));
    other.input->sha256 = "cc";
    EXPECT_FALSE(was_made_by(history, other, recipe_));
    other = origin_;
    other.plugin.sha256 = "cc";
    EXPECT_FALSE(was_made_by(history, other, recipe_));

    Recipe recipe = recipe_;
    recipe.steps.pop_back();
    EXPECT_FALSE(was_made_by(history, origin_, recipe));
    recipe = recipe_;
    recipe.steps[1].values = recipe.steps[0].values;
    EXPECT_FALSE(was_made_by(history, origin_, recipe));
}

TEST_F(RunHistory, KnowsARunByTheGuardsThatItAccepted) {
    auto history = make_records();
    history[1]["guards"] = nlohmann::ordered_json::parse(R"([{"name":"a"},{"name":"a"}])");
    EXPECT_FALSE(was_made_by(history, origin_, recipe_));
    recipe_.steps[0].accept = {"a"};
    EXPECT_FALSE(was_made_by(history, origin_, recipe_));
    recipe_.steps[1].accept = {"b", "a"};
    EXPECT_TRUE(was_made_by(history, origin_, recipe_));
}

TEST_F(RunHistory, RefusesWhatIsNoHistory) {
    MemoryTree tree;
    const auto records = make_records();
    for (const AttributeValue& value :
         {AttributeValue(1.0F), AttributeValue(TextArray{{"no JSON"}, {1}})}) {
        tree.write_attribute(tree.root(), HISTORY_ATTRIBUTE, value);
        EXPECT_THROW(read_history(tree, "file.h5"), Failure);
    }
    EXPECT_THROW(was_made_by(std::vector{HistoryRecord{{"step", 1}}}, origin_, recipe_), Failure);
}

} // namespace
} // namespace talvora::host
