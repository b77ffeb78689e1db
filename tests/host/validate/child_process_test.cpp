#include "host/validate/child_process.h"
#include "host/validate/protocol.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvora::host {

namespace {

using testing::HasSubstr;
using testing::SizeIs;

ChildOutcome run_script(const std::string& script,
                        std::chrono::milliseconds limit = std::chrono::minutes(1)) {
    return run_child({"/bin/sh", "-c", script}, limit, ".");
}

TEST(ChildProcesses, KeepsWhatIsToldAndTheLastLineOfALongOutput) {
    const auto outcome = run_script(
        "printf '\\n\\036talvora\\tfail\\tis wrong\\n';"
        "yes | head -c 20000000; echo last words; printf '\\n\\036talvora\\tdone\\t\\n'");
    EXPECT_LT(outcome.output.size(), 100U);
    const auto lines = parse_lines(outcome.output);
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_EQ(lines[0].text, "is wrong");
    EXPECT_EQ(lines[1].kind, "done");
    EXPECT_EQ(lines[2].text, "last words");
}

TEST(ChildProcesses, KeepsTheBeginningOfALineWithoutEnd) {
    const auto outcome = run_script("printf beginning; head -c 20000000 /dev/zero");
    EXPECT_LT(outcome.output.size(), 100'000U);
    EXPECT_THAT(outcome.output, HasSubstr("beginning"));
}

TEST(ChildProcesses, EndsAtTheTimeLimitHoweverMuchIsWritten) {
    const auto outcome = run_script("exec yes", std::chrono::milliseconds(200));
    EXPECT_EQ(outcome.end, ChildOutcome::End::TimedOut);
}

TEST(ChildProcesses, DoesNotWaitForAProcessThatOutlivesIt) {
    const auto outcome = run_script("setsid sleep 300 & echo done", std::chrono::seconds(60));
    EXPECT_EQ(outcome.end, ChildOutcome::End::Exited);
    EXPECT_THAT(outcome.output, HasSubstr("done"));
    EXPECT_EQ(outcome.left_processes, 1U);
}

TEST(ChildProcesses, StillReadsWhatWasWrittenAtTheEnd) {
    const auto outcome = run_script("printf '%060000d\\n' 0; exit 7");
    EXPECT_EQ(outcome.exit_code, 7);
    EXPECT_THAT(outcome.output, SizeIs(testing::Ge(60'000U)));
}

} // namespace

} // namespace talvora::host
