#include "host/system/pending_cleanup.h"
#include "host/system/safe_write.h"
#include "host/text/failure.h"
#include "tests/host/system/child_process.h"
#include "tests/host/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <set>
#include <string>
#include <utility>

namespace talvora::host {
namespace {

using testing::ElementsAre;

class CleanUpOnSignals : public testing::TestWithParam<std::pair<int, int>> {};

TEST_P(CleanUpOnSignals, RemovesPendingFilesAndTellsBySignal) {
    const int signal_number = GetParam().first;
    const int exit_code = GetParam().second;
    const TemporaryFolder folder;
    write_file(folder / "walk.h5", "old");
    EXPECT_EQ(exit_code_of([&] {
                  // A sanitizer's own handlers would stay.
                  std::signal(signal_number, SIG_DFL);
                  clean_up_on_signals();
                  const PendingFile pending(folder / "walk.h5", {.replace = true});
                  std::raise(signal_number);
              }),
              exit_code);
    EXPECT_THAT(folder.names(), ElementsAre("walk.h5"));
    EXPECT_EQ(read_file(folder / "walk.h5"), "old");
}

INSTANTIATE_TEST_SUITE_P(Signals, CleanUpOnSignals,
                         testing::Values(std::pair{SIGINT, 130}, std::pair{SIGTERM, 143},
                                         std::pair{SIGHUP, 129}, std::pair{SIGPIPE, 141},
                                         std::pair{SIGUSR1, 138}, std::pair{SIGUSR2, 140},
                                         std::pair{SIGALRM, 142}, std::pair{SIGTRAP, 4},
                                         std::pair{SIGSYS, 4}, std::pair{SIGSEGV, 4},
                                         std::pair{SIGFPE, 4}, std::pair{SIGABRT, 4}));

// Of signal(7), those whose action is Term or Core.
TEST(CleanUpOnSignals, LeavesNothingWhateverSignalWouldEndTheProcess) {
    const std::set<int> others = {SIGKILL, SIGSTOP, SIGCHLD, SIGCONT,  SIGTSTP,
                                  SIGTTIN, SIGTTOU, SIGURG,  SIGWINCH, SIGXFSZ};
    for (int number = 1; number <= SIGRTMAX; ++number) {
        if (others.contains(number) || (number > SIGSYS && number < SIGRTMIN)) {
            continue;
        }
        const TemporaryFolder folder;
        const int exit_code = exit_code_of([&] {
            std::signal(number, SIG_DFL);
            clean_up_on_signals();
            const PendingFile pending(folder / "walk.h5", {});
            std::raise(number);
        });
        EXPECT_THAT(exit_code, testing::AnyOf(4, 128 + number));
        EXPECT_THAT(folder.names(), ElementsAre()) << number;
    }
}

TEST(PendingFiles, AreLeftAloneOnceForgotten) {
    const TemporaryFolder folder;
    write_file(folder / "kept", "");
    write_file(folder / "gone", "");
    EXPECT_EQ(exit_code_of([&] {
                  std::signal(SIGTERM, SIG_DFL);
                  clean_up_on_signals();
                  const int kept = note_pending_file(folder / "kept");
                  note_pending_file(folder / "gone");
                  forget_pending_file(kept);
                  std::raise(SIGTERM);
              }),
              128 + SIGTERM);
    EXPECT_THAT(folder.names(), ElementsAre("kept"));
}

TEST(PendingFiles, AreRefusedWhereAPathIsTooLong) {
    EXPECT_THROW(note_pending_file(std::string(1 << 16, 'x')), Failure);
}

TEST(SignalsHeldBack, ComeOnceTheyAreLetGo) {
    EXPECT_EQ(exit_code_of([] {
                  std::signal(SIGTERM, SIG_DFL);
                  clean_up_on_signals();
                  {
                      const SignalsHeldBack held_back;
                      std::raise(SIGTERM);
                  }
                  _exit(0); // not reached
              }),
              128 + SIGTERM);
    EXPECT_EQ(exit_code_of([] {
                  std::signal(SIGTERM, SIG_DFL);
                  const SignalsHeldBack held_back;
                  std::raise(SIGTERM);
                  _exit(7);
              }),
              7);
}

} // namespace
} // namespace talvora::host
