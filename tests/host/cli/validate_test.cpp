#include "tests/host/cli/cli_test.h"

#include <nlohmann/json.hpp>

#include <string>

namespace talvora::host {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

std::string faulty_plugin(const std::string& fault) {
    return std::string(FAULTY_PLUGINS) + "/" + fault + ".so";
}

class Validate : public CommandLine {};

TEST_F(Validate, TriesThePluginBesideTheProgramWhenNoneIsNamed) {
    const auto result = run({"validate", "--only", "tables.*"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.output, StartsWith("pass      tables.descriptor "));
    EXPECT_THAT(result.output, EndsWith("kpl-talvora_signal.so: 7 checks: 7 pass\n"));
    EXPECT_THAT(result.errors, IsEmpty());
}

TEST_F(Validate, TellsBrokenPluginsByTheExitCode) {
    const auto result =
        run({"validate", faulty_plugin("double_free"), "--only", "records.of-successes"});
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_THAT(result.output, StartsWith("fail      records.of-successes"));
    EXPECT_THAT(result.output, HasSubstr("was freed twice"));
    EXPECT_THAT(result.output, EndsWith("1 checks: 1 fail\n"));
}

TEST_F(Validate, GivesUpOnACheckAfterTheTimeGiven) {
    const auto result = run(
        {"validate", faulty_plugin("never_returns"), "--only", "run.ordinary", "--timeout", "0.3"});
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_THAT(result.output, StartsWith("time-out  run.ordinary"));
}

TEST_F(Validate, PrintsOneJsonDocument) {
    const auto result =
        run({"validate", faulty_plugin("wrong_count"), "--only", "tables.units", "--json"});
    EXPECT_EQ(result.exit_code, 4);
    const auto document = nlohmann::json::parse(result.output);
    EXPECT_EQ(document["good"], false);
    ASSERT_EQ(document["checks"].size(), 1U);
    EXPECT_EQ(document["checks"][0]["id"], "tables.units");
    EXPECT_EQ(document["checks"][0]["result"], "fail");
    EXPECT_EQ(document["checks"][0]["findings"][0], "unit 1 of 2: has no name");
}

TEST_F(Validate, ListsTheChecksWithoutAPlugin) {
    const auto result = run({"validate", "--list", "--only", "library.*"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.output, StartsWith("library.loads     the library loads"));
}

TEST_F(Validate, RefusesPatternsAndFilesThatNameNothing) {
    EXPECT_EQ(run({"validate", "--only", "nothing"}).exit_code, 2);
    EXPECT_EQ(run({"validate", "missing.so"}).exit_code, 4);
}

TEST_F(Validate, NamesTheSignalOfAnAbort) {
    const auto result = run({"validate", faulty_plugin("aborts"), "--only", "run.ordinary"});
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_THAT(result.output, StartsWith("crash     run.ordinary"));
    EXPECT_THAT(result.output, HasSubstr("Aborted (SIGABRT)"));
}

// What `run` itself notices, without guards and on the user's file.
struct Noticed {
    const char* plugin;
    const char* error;
};

constexpr Noticed NOTICED[] = {
    {"no_entry", "no function 'talvora_plugin_api'"},
    {"no_descriptor", "gives no table for kind 0"},
    {"no_units", "gives no table for kind 3"},
    {"count_not_written", "counts 0 rows"},
    {"too_many_units", "counts 4294967295 rows"},
    {"wrong_count", "unit 1 has no name"},
    {"no_plugin_name", "descriptor has no name"},
    {"null_unit_name", "unit 1 has no name"},
    {"empty_unit_name", "the empty name"},
    {"no_declare", "no operation 'declare'"},
    {"no_run", "no operation 'run'"},
    {"same_name_twice", "has two units"},
    {"throws_at_entry", "threw an exception"},
    {"bad_signature", "unknown type"},
    {"same_key_twice", "declares the parameter 'SourceGroup' twice"},
    {"narrow_answer", "'declare' returns"},
    {"throws", "'run' broke off: out of luck"},
    {"crashes", "crashed"},
    {"double_free", "crashed"},
    {"calls_unused_slot", "slot 6 was called"},
    {"uses_null_name", "null text"},
};

class RunOfFaultyPlugins : public CommandLine, public testing::WithParamInterface<Noticed> {};

TEST_P(RunOfFaultyPlugins, NamesTheFaultAndWritesNothing) {
#if defined(TALVORA_ADDRESS_SANITIZER)
    if (std::string_view(GetParam().plugin) == "crashes" ||
        std::string_view(GetParam().plugin) == "double_free") {
        GTEST_SKIP() << "the sanitizer takes the signal";
    }
#endif
    import_walk();
    const auto result = run({"run", "negate-group", "--plugin", faulty_plugin(GetParam().plugin),
                             "SourceGroup=Signals", "walk.h5", "-o", "out.h5"});
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_THAT(result.errors, HasSubstr(GetParam().error));
    EXPECT_THAT(folder_.names(), testing::ElementsAre("walk.csv", "walk.h5"));
}

INSTANTIATE_TEST_SUITE_P(Each, RunOfFaultyPlugins, testing::ValuesIn(NOTICED),
                         [](const auto& instance) { return instance.param.plugin; });

} // namespace
} // namespace talvora::host
