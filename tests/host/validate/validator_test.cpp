#include "host/text/failure.h"
#include "tests/host/temporary_folder.h"
#include "tests/host/validate/validating.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <set>
#include <sys/wait.h>

namespace talvora::host {

namespace {

using testing::AnyOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// "verdict id" of everything that is no pass.
std::vector<std::string> list_exceptions(const std::vector<CheckResult>& results) {
    std::vector<std::string> lines;
    for (const CheckResult& result : results) {
#if defined(TALVORA_ADDRESS_SANITIZER)
        if (result.check->id == std::string_view("run.small-stack")) {
            continue; // the sanitizer's frames are too large for it
        }
#endif
        if (result.verdict != Verdict::Pass) {
            lines.push_back(std::string(name_of(result.verdict)) + " " +
                            std::string(result.check->id));
        }
    }
    return lines;
}

TEST(Validator, FindsNothingAgainstAGoodPlugin) {
    const auto results = validate(faulty_plugin("good"));
    // One of its units does nothing on purpose, and none has a destination.
    EXPECT_THAT(list_exceptions(results), ElementsAre("warn run.ordinary", "skipped run.sources"));
    EXPECT_TRUE(all_good(results));
}

TEST(Validator, LeavesABlockAsItIsWhenItCannotGrow) {
#if defined(TALVORA_ADDRESS_SANITIZER)
    GTEST_SKIP() << "the sanitizer ends a program that asks for so much";
#endif
    const auto results = validate(faulty_plugin("refused_realloc"), "run.buffers");
    EXPECT_THAT(results.at(0).findings, IsEmpty());
    EXPECT_EQ(results.at(0).verdict, Verdict::Pass);
}

TEST(Validator, ComparesNothingWithAProcessThatAUnitEnded) {
    for (const char* check : {"calls.same-bits", "calls.same-elsewhere"}) {
        const auto results = validate(faulty_plugin("ends_process"), check);
        EXPECT_THAT(results.at(0).findings, ElementsAre(EndsWith("does not come to its end")));
        EXPECT_FALSE(all_good(results)) << check;
    }
}

// The warning is about requests for an axis that is not the last, which the downsample
// unit makes as its page says.
TEST(Validator, FindsNothingAgainstTheSignalPlugin) {
    const auto results = validate(SIGNAL_PLUGIN);
    EXPECT_THAT(list_exceptions(results), ElementsAre("warn run.extents"));
    const auto extents = std::ranges::find(results, Verdict::Warn, &CheckResult::verdict);
    ASSERT_NE(extents, results.end());
    EXPECT_THAT(extents->findings,
                Each(AnyOf(HasSubstr("apply-set-downsample"), StartsWith("and "))));
}

TEST(Validator, FindsNothingAgainstTheSignalPluginAtTheQuickLevelEither) {
    const auto results =
        validate(SIGNAL_PLUGIN, "*", std::chrono::minutes(2), {Level::Quick, make_seed()});
    for (const CheckResult& result : results) {
        EXPECT_TRUE(is_good(result.verdict))
            << result.check->id << ": " << testing::PrintToString(result.findings);
    }
}

TEST(Validator, FindsTheSameAgainFromTheSameSeed) {
    const auto try_seed = [](std::uint64_t seed) {
        const auto results = validate(faulty_plugin("leaks_on_two_values"), "run.made-up-inputs",
                                      std::chrono::minutes(2), {Level::Deep, seed});
        return results.at(0).findings;
    };
    const auto findings = try_seed(2026);
    EXPECT_THAT(findings, Contains(HasSubstr("(--seed 2026)")));
    EXPECT_EQ(try_seed(2026), findings);
    EXPECT_NE(try_seed(2027), findings);
}

TEST(Validator, SkipsWhatBuildsOnACheckThatDidNotEnd) {
    const auto results =
        validate(faulty_plugin("never_returns"), "r*.o*", std::chrono::milliseconds(500));
    EXPECT_THAT(list_exceptions(results),
                ElementsAre("time-out run.ordinary", "skipped run.odd-sets",
                            "skipped records.of-successes", "skipped records.of-failures"));
    EXPECT_EQ(summarise(results), "4 checks: 3 skipped, 1 time-out");
}

TEST(Validator, SaysWhyAFileIsNoLibrary) {
    const TemporaryFolder folder;
    const auto file = folder / "text.so";
    write_file(file, "no library\n");
    const auto results = validate(file, "library.*");
    EXPECT_THAT(list_exceptions(results),
                ElementsAre("fail library.loads", "fail library.one-name"));
}

// The number of the machine stands at the 18th byte of a library's file; 22 is one that nothing
// here is built for.
TEST(Validator, SaysThatALibraryIsBuiltForAnotherMachine) {
    const TemporaryFolder folder;
    const auto file = folder / "other.so";
    std::string bytes = read_file(faulty_plugin("good"));
    bytes.replace(18, 2, std::string("\x16\0", 2));
    write_file(file, bytes);
    const auto results = validate(file, "library.*");
    ASSERT_EQ(results.size(), 2U);
    for (const CheckResult& result : results) {
        EXPECT_EQ(result.verdict, Verdict::Fail) << result.check->id;
        EXPECT_THAT(result.findings, ElementsAre(HasSubstr("is built for another machine (22")));
    }
}

// Each leaves some: were they waited for, every check would take minutes.
TEST(Validator, EndsWhatAPluginLeavesBehind) {
    const auto results = validate(faulty_plugin("leaves_process"), "run.o*");
    EXPECT_THAT(list_exceptions(results), ElementsAre("fail run.ordinary", "fail run.odd-sets"));
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a process is still there";
}

TEST(Validator, SelectsChecksByPattern) {
    EXPECT_EQ(select_checks("*").size(), all_checks().size());
    ASSERT_EQ(select_checks("tables.reserved").size(), 1U);
    EXPECT_THROW(select_checks("nothing.*"), Failure);
}

TEST(Validator, GivesEveryCheckAnIdOfItsOwnAndADescription) {
    std::set<std::string_view> ids;
    for (const Check& check : all_checks()) {
        EXPECT_TRUE(ids.insert(check.id).second) << check.id;
        EXPECT_FALSE(check.description.empty()) << check.id;
        EXPECT_EQ(find_check(check.id), &check);
    }
}

} // namespace

} // namespace talvora::host
