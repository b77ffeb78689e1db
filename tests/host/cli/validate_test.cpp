#include "tests/host/cli/cli_test.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

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
    EXPECT_EQ(document["level"], "deep");
    EXPECT_TRUE(document["seed"].is_number_unsigned());
}

TEST_F(Validate, RepeatsWhatWasMadeUpFromASeed) {
    const auto result = run({"validate", faulty_plugin("leaks_on_two_values"), "--only",
                             "run.made-up-inputs", "--seed", "7", "--json"});
    EXPECT_EQ(result.exit_code, 4);
    const auto document = nlohmann::json::parse(result.output);
    EXPECT_EQ(document["seed"], 7);
    EXPECT_THAT(document["checks"][0]["findings"][0].get<std::string>(), HasSubstr("(--seed 7)"));
}

TEST_F(Validate, TakesAPartOfEachCheckWhenToldQuick) {
    const auto result = run({"validate", "--only", "run.ordinary", "--level", "quick", "--json"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(nlohmann::json::parse(result.output)["level"], "quick");
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

// The two programs, each with the words that its pattern and its time limit take.
struct Twin {
    const char* name;
    const char* program;
    Program::Words command, only, timeout;

    Program::Words words(const std::string& plugin, const std::string& pattern,
                         const std::string& seconds) const {
        Program::Words all = command;
        for (const auto& part :
             std::initializer_list<Program::Words>{{plugin}, only, {pattern}, timeout, {seconds}}) {
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }
};

const Twin TWINS[] = {
    {"host", TALVORA_HOST_PROGRAM, {"validate"}, {"--only"}, {"--timeout"}},
    {"alone", VALIDATE_PROGRAM, {}, {}, {}},
};

class BothValidators : public CommandLine, public testing::WithParamInterface<Twin> {
  protected:
    BothValidators() {
        create_directory(folder_ / "place");
        options_.program = GetParam().program;
        options_.environment["TMPDIR"] = (folder_ / "place").string();
    }

    ProgramResult try_with(const std::string& plugin, const std::string& pattern = "library.*",
                           const std::string& seconds = "60") const {
        return run(GetParam().words(plugin, pattern, seconds), options_);
    }

    // Under a limit that the shell sets.
    ProgramResult try_limited(const std::string& limit) const {
        std::string command = limit + "; exec " + options_.program.string();
        for (const std::string& word : GetParam().words(faulty_plugin("good"), "library.*", "60")) {
            command += " '" + word + "'";
        }
        ProgramOptions shell = options_;
        shell.program = "/bin/sh";
        return run({"-c", command}, shell);
    }

    bool is_place_empty() const { return std::filesystem::is_empty(folder_ / "place"); }

    // Started on a plug-in that never comes back, and under way.
    std::unique_ptr<Program> start_endless() const {
        auto program = std::make_unique<Program>(
            folder_.path(), GetParam().words(faulty_plugin("never_returns"), "run.ordinary", "600"),
            options_);
        for (int i = 0; i < 2000 && is_place_empty(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        EXPECT_FALSE(is_place_empty());
        return program;
    }

    ProgramOptions options_;
};

TEST_P(BothValidators, RefuseAPatternThatNoCheckMatches) {
    const auto result = try_with(faulty_plugin("good"), "nothing");
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_THAT(result.errors, StartsWith("error: no check matches 'nothing'\n"));
    EXPECT_THAT(result.output, IsEmpty());
}

TEST_P(BothValidators, RefuseATimeThatIsNoNumberAboveZero) {
    for (const char* seconds : {"abc", "-5", "0", "nan", "inf", "1e300", "5s"}) {
        const auto result = try_with(faulty_plugin("good"), "library.*", seconds);
        EXPECT_EQ(result.exit_code, 2) << seconds;
        EXPECT_THAT(result.errors, HasSubstr(" (allowed: 0.01 to 86400)\n"));
    }
    EXPECT_EQ(try_with(faulty_plugin("good"), "library.*", "2.5").exit_code, 0);
}

TEST_P(BothValidators, RefuseOtherLevelsAndSeeds) {
    const auto refuse = [&](const char* option, const char* word) {
        Program::Words words = GetParam().words(faulty_plugin("good"), "library.*", "60");
        words.insert(words.end(), {option, word});
        const auto result = run(words, options_);
        EXPECT_EQ(result.exit_code, 2) << word;
        EXPECT_THAT(result.errors, HasSubstr("(allowed: "));
    };
    refuse("--level", "slow");
    refuse("--seed", "-1");
    refuse("--seed", "many");
}

TEST_P(BothValidators, SayThatTheLimitOfAddressSpaceIsTooLow) {
#if defined(TALVORA_ADDRESS_SANITIZER)
    GTEST_SKIP() << "a sanitizer needs more addresses itself";
#endif
    const auto result = try_limited("ulimit -v 4000000");
    EXPECT_EQ(result.exit_code, 5);
    EXPECT_THAT(result.errors,
                StartsWith("error: the limit of address space (ulimit -v) is 3.8 GiB (allowed: "));
    EXPECT_THAT(result.output, IsEmpty());
}

// A process is followed through two pipe ends, and more.
TEST_P(BothValidators, SayThatNoProcessCanBeStarted) {
#if defined(TALVORA_ADDRESS_SANITIZER)
    GTEST_SKIP() << "a sanitizer looks at memory through pipes of its own";
#endif
    // What this process was started with may stay open in its own.
    const auto result = try_limited("exec 3>&- 4>&- 5>&- 6>&- 7>&- 8>&- 9>&-; ulimit -n 4");
    EXPECT_EQ(result.exit_code, 5);
    EXPECT_THAT(result.errors, StartsWith("error: no pipe for a child process: "));
    EXPECT_THAT(result.output, IsEmpty());
}

TEST_P(BothValidators, RefuseAFileThatIsNotThere) {
    const auto result = try_with("missing.so");
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_EQ(result.errors, "error: missing.so: no such plug-in library\n");
}

TEST_P(BothValidators, RefuseAPlaceForTemporaryFilesThatIsNotThere) {
    options_.environment["TMPDIR"] = "/nowhere";
    const auto result = try_with(faulty_plugin("good"));
    EXPECT_EQ(result.exit_code, 5);
    EXPECT_EQ(result.errors, "error: TMPDIR: no folder for temporary files at '/nowhere' "
                             "(allowed: a folder that can be written)\n");
}

TEST_P(BothValidators, LeaveNothingBehindWhenASignalEndsThem) {
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
        const auto program = start_endless();
        program->send(signal_number);
        const int exit_code = program->finish().exit_code;
        EXPECT_THAT(exit_code, testing::AnyOf(128 + signal_number, -1));
        EXPECT_TRUE(is_place_empty()) << signal_number;
    }
}

TEST_P(BothValidators, SweepWhatAKilledOneLeft) {
    const auto program = start_endless();
    program->send(SIGKILL);
    program->finish();
    EXPECT_FALSE(is_place_empty());
    EXPECT_EQ(try_with(faulty_plugin("good")).exit_code, 0);
    EXPECT_TRUE(is_place_empty());
}

INSTANTIATE_TEST_SUITE_P(Each, BothValidators, testing::ValuesIn(TWINS),
                         [](const auto& instance) { return instance.param.name; });

class ValidateAlone : public CommandLine {
  protected:
    ProgramResult run_alone(const Program::Words& words) const {
        return run(words, {.environment = {}, .program = VALIDATE_PROGRAM});
    }
};

TEST_F(ValidateAlone, ExplainsItself) {
    const auto result = run_alone({"--help"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.output, StartsWith("usage: talvora-validate PLUGIN [PATTERN [SECONDS]]\n"));
    EXPECT_EQ(run_alone({}).exit_code, 2);
    EXPECT_EQ(run_alone({"--other"}).exit_code, 2);
}

TEST_F(ValidateAlone, ReportsAnOutputThatTakesNothing) {
    const auto result =
        run({"-c", "exec " VALIDATE_PROGRAM " " + faulty_plugin("good") + " library.* > /dev/full"},
            {.environment = {}, .program = "/bin/sh"});
    EXPECT_EQ(result.exit_code, 5);
    EXPECT_THAT(result.errors, HasSubstr("error: standard output: No space left on device"));
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
