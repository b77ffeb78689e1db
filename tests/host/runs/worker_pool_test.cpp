#include "host/runs/worker_pool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <new>
#include <optional>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace talvora::host {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

constexpr WorkerLimits IMPATIENT{.idle_time = 1s};
constexpr int REFUSED = 7;
// Together beyond that limit; each far enough within it for a machine that has much to do.
constexpr auto PAUSE = 150ms;
constexpr int PAUSES = 12;

// The end of one worker that does this work, and what it sent.
struct Ran {
    WorkerEnd end;
    std::vector<std::string> lines;
};

template <typename Work>
Ran run_one(const WorkerLimits& limits, const Work& work) {
    Ran ran;
    run_workers(
        1, 1, limits,
        {.work = [&](std::size_t, const SendLine& send) { return work(send); },
         .take_line = [&](std::size_t, const std::string& line) { ran.lines.push_back(line); },
         .take_end = [&](std::size_t, const WorkerEnd& end) { ran.end = end; },
         .tick = [] {}});
    return ran;
}

[[noreturn]] void hang() {
    for (;;) {
        std::this_thread::sleep_for(1s);
    }
}

TEST(WorkerPool, PassesLinesAndTheExitStatusOn) {
    const Ran ran = run_one({}, [](const SendLine& send) {
        send("one");
        send("two");
        return 3;
    });
    EXPECT_THAT(ran.lines, ElementsAre("one", "two"));
    EXPECT_EQ(WEXITSTATUS(ran.end.wait_status), 3);
    EXPECT_EQ(ran.end.given_up, GivenUp::Not);
}

// poll() refuses more descriptors than a process may open.
class NoDescriptors {
  public:
    NoDescriptors() {
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit none{0, before_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;
    ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }

  private:
    rlimit before_{};
};

TEST(WorkerPool, TakesWhatCameWhereItCannotWaitForIt) {
    std::optional<NoDescriptors> no_descriptors;
    std::vector<std::string> lines;
    std::optional<WorkerEnd> ended;
    run_workers(1, 1, {},
                {.work =
                     [](std::size_t, const SendLine& send) {
                         std::this_thread::sleep_for(PAUSE); // until the first tick has come
                         send("one");
                         return 3;
                     },
                 .take_line = [&](std::size_t, const std::string& line) { lines.push_back(line); },
                 .take_end = [&](std::size_t, const WorkerEnd& end) { ended = end; },
                 .tick =
                     [&] {
                         if (!no_descriptors) {
                             no_descriptors.emplace();
                         }
                     }});
    EXPECT_TRUE(no_descriptors);
    EXPECT_THAT(lines, ElementsAre("one"));
    ASSERT_TRUE(ended);
    EXPECT_EQ(WEXITSTATUS(ended->wait_status), 3);
}

TEST(WorkerPool, KnowsWhereAWorkerWasWhenItCrashed) {
    const Ran ran = run_one({}, [](const SendLine&) {
        const InPlugin in_plugin;
        const InFile in_file("walk.h5");
        std::signal(SIGABRT, SIG_DFL);
        std::abort();
        return 0;
    });
    EXPECT_EQ(WTERMSIG(ran.end.wait_status), SIGABRT);
    EXPECT_EQ(ran.end.code, CodeAtWork::File);
    EXPECT_EQ(ran.end.file, "walk.h5");
    EXPECT_TRUE(ran.end.plugin_ran);
}

TEST(WorkerPool, GivesUpAWorkerThatDoesNotGetOnInAFile) {
    const Ran ran = run_one(IMPATIENT, [](const SendLine&) {
        const InFile in_file("walk.h5");
        hang();
        return 0;
    });
    EXPECT_EQ(ran.end.given_up, GivenUp::Idle);
    EXPECT_EQ(ran.end.file, "walk.h5");
}

TEST(WorkerPool, GivesUpAWorkerThatTakesNoSignal) {
    const Ran ran = run_one(IMPATIENT, [](const SendLine&) {
        std::signal(SIGTERM, SIG_IGN);
        const InFile in_file("walk.h5");
        hang();
        return 0;
    });
    EXPECT_EQ(ran.end.given_up, GivenUp::Idle);
    EXPECT_EQ(WTERMSIG(ran.end.wait_status), SIGKILL);
}

TEST(WorkerPool, GivesUpAWorkerThatIsStoppedWhereverItIs) {
    const Ran ran = run_one(IMPATIENT, [](const SendLine&) {
        const InPlugin in_plugin;
        std::raise(SIGSTOP);
        return 0;
    });
    EXPECT_EQ(ran.end.given_up, GivenUp::Stopped);
    EXPECT_EQ(ran.end.code, CodeAtWork::Plugin);
}

TEST(WorkerPool, WaitsForAWorkerThatIsInNoFile) {
    const Ran ran = run_one(IMPATIENT, [](const SendLine&) {
        const InFile in_file("walk.h5");
        const InPlugin in_plugin;
        std::this_thread::sleep_for(2500ms);
        return 3;
    });
    EXPECT_EQ(ran.end.given_up, GivenUp::Not);
    EXPECT_EQ(WEXITSTATUS(ran.end.wait_status), 3);
}

TEST(WorkerPool, WaitsForAWorkerThatMakesItsCallsSlowly) {
    const Ran ran = run_one(IMPATIENT, [](const SendLine&) {
        const InFile in_file("walk.h5");
        for (int i = 0; i < PAUSES; ++i) {
            std::this_thread::sleep_for(PAUSE);
            count_call();
        }
        return 3;
    });
    EXPECT_EQ(ran.end.given_up, GivenUp::Not);
}

TEST(WorkerPool, WaitsForAWorkerThatReadsSlowly) {
    if (access("/proc/self/io", R_OK) != 0) {
        GTEST_SKIP() << "this system does not count the bytes of a process";
    }
    const Ran ran = run_one(IMPATIENT, [](const SendLine&) {
        const InFile in_file("/dev/zero");
        FILE* const file = std::fopen("/dev/zero", "rb");
        std::setvbuf(file, nullptr, _IONBF, 0);
        for (int i = 0; i < PAUSES; ++i) {
            std::this_thread::sleep_for(PAUSE);
            std::fgetc(file);
        }
        std::fclose(file);
        return 3;
    });
    EXPECT_EQ(ran.end.given_up, GivenUp::Not);
}

TEST(WorkerPool, WaitsForEverWithoutALimit) {
    const Ran ran = run_one({.idle_time = 0s}, [](const SendLine&) {
        const InFile in_file("walk.h5");
        std::this_thread::sleep_for(1500ms);
        return 3;
    });
    EXPECT_EQ(ran.end.given_up, GivenUp::Not);
}

TEST(WorkerPool, RefusesAWorkerMoreMemoryThanItsLimit) {
#if defined(TALVORA_ADDRESS_SANITIZER)
    GTEST_SKIP() << "the sanitizer has its memory already";
#endif
    const Ran ran = run_one({.memory = std::uint64_t{64} << 20U}, [](const SendLine&) {
        try {
            const std::vector<char> too_much(std::size_t{128} << 20U);
            return static_cast<int>(too_much.back());
        } catch (const std::bad_alloc&) {
            return REFUSED;
        }
    });
    EXPECT_EQ(WEXITSTATUS(ran.end.wait_status), REFUSED);
}

} // namespace
} // namespace talvora::host
