#include "host/runs/worker_failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

namespace talvora::host {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

// As waitpid gives it.
constexpr int exited(int code) {
    return code << 8;
}

const WorkerLimits LIMITS{.idle_time = 7s};

void expect(const WorkerEnd& end, ExitCode code, const char* text) {
    const Failure failure = explain_end(end, LIMITS);
    EXPECT_EQ(failure.code(), code) << text;
    EXPECT_STREQ(failure.what(), text);
}

TEST(ExplainEnd, BlamesTheFileForACrashOfTheLibraryThatReadsIt) {
    expect({.wait_status = SIGSEGV, .code = CodeAtWork::File, .plugin_ran = true}, ExitCode::Input,
           "it is damaged: the HDF5 library crashed on it (SIGSEGV)");
}

TEST(ExplainEnd, BlamesTheFileForAnEndWhileItIsRead) {
    expect({.wait_status = SIGKILL, .code = CodeAtWork::File}, ExitCode::Input,
           "its worker was killed (SIGKILL) while it read the file");
    expect({.wait_status = exited(1), .code = CodeAtWork::File}, ExitCode::Input,
           "its worker broke off with exit code 1");
}

TEST(ExplainEnd, BlamesTheFileForAHangAndTellsHowToWaitLonger) {
    const WorkerEnd end{
        .wait_status = exited(143), .given_up = GivenUp::Idle, .code = CodeAtWork::File};
    expect(end, ExitCode::Input,
           "it is damaged, or its disk does not answer: the HDF5 library made no progress with it "
           "for 7 s");
    EXPECT_THAT(explain_end(end, LIMITS).hints(), ElementsAre("--idle-time SECONDS waits longer"));
}

TEST(ExplainEnd, BlamesThePluginForACrashOfItsCode) {
    expect({.wait_status = SIGSEGV, .code = CodeAtWork::Plugin, .plugin_ran = true},
           ExitCode::Plugin, "its worker crashed (SIGSEGV)");
    expect({.wait_status = SIGKILL, .code = CodeAtWork::Plugin, .plugin_ran = true},
           ExitCode::Plugin, "its worker was killed (SIGKILL)");
}

TEST(ExplainEnd, SuspectsThePluginOnceItHasRun) {
    expect({.wait_status = SIGABRT, .plugin_ran = true}, ExitCode::Plugin,
           "its worker crashed (SIGABRT)");
    expect({.wait_status = SIGABRT}, ExitCode::Input, "its worker crashed (SIGABRT)");
}

TEST(ExplainEnd, TellsOfAWorkerThatIsStopped) {
    const WorkerEnd end{.wait_status = exited(143),
                        .given_up = GivenUp::Stopped,
                        .code = CodeAtWork::Plugin,
                        .plugin_ran = true};
    expect(end, ExitCode::Plugin, "its worker was stopped and did not go on for 7 s");
    EXPECT_THAT(explain_end(end, LIMITS).hints(), IsEmpty());
}

} // namespace
} // namespace talvora::host
