#include "host/runs/worker_pool.h"

#include "host/runs/worker_watch.h"
#include "host/system/memory_limit.h"
#include "host/system/pending_cleanup.h"
#include "host/text/failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

namespace talvora::host {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr int TICK_MILLISECONDS = 100;
constexpr auto TIME_BETWEEN_LOOKS = 100ms;
// More has passed only when this process was stopped itself, or held up.
constexpr Clock::duration LONGEST_LOOK = 1s;
// For a worker to clean up when it is given up.
constexpr auto TIME_TO_END = 2s;

struct Worker {
    std::size_t index;
    pid_t process;
    int stream; // what it sends
    SharedWorkState state;
    IdleTime idle{process};
    std::string partial = {}; // a line that has not ended yet
    GivenUp given_up = GivenUp::Not;
    Clock::time_point given_up_at = {};
};

[[noreturn]] void fail(std::string_view what) {
    throw Failure(ExitCode::Output,
                  fmt::format("{}: {}", what, std::generic_category().message(errno)));
}

void send_all(int stream, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(stream, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) {
            _exit(1); // the parent is gone
        }
        bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
}

std::uint64_t machine_memory() {
    return static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) *
           static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

// A worker opens a file several times, each time with tables of half a mebibyte: memory that was
// let go of serves again. That of sets that are larger goes back to the system, and threads that
// live for one file have no memory of their own.
void keep_small_memory() {
    constexpr int LARGE_BYTES = 1 << 20;
    mallopt(M_MMAP_THRESHOLD, LARGE_BYTES);
    mallopt(M_TRIM_THRESHOLD, 4 * LARGE_BYTES);
    mallopt(M_ARENA_MAX, 1);
}

// Where the system does not tell which stream has something to read, all are tried.
void wait_for_any(std::vector<pollfd>& streams) {
    if (poll(streams.data(), streams.size(), TICK_MILLISECONDS) < 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(TICK_MILLISECONDS));
        std::ranges::for_each(streams, [](pollfd& stream) { stream.revents = POLLIN; });
    }
}

// One that is stopped takes no other signal.
void interrupt(pid_t process) {
    kill(process, SIGTERM);
    kill(process, SIGCONT);
}

class WorkerPool {
  public:
    WorkerPool(std::size_t at_once, const WorkerLimits& limits, const WorkerCalls& calls)
        : at_once_(at_once), limits_(limits), calls_(calls) {}
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;
    // Workers are left only when a call threw.
    ~WorkerPool() {
        for (const Worker& worker : workers_) {
            interrupt(worker.process);
            wait_for(worker);
        }
    }

    void run(std::size_t count) {
        std::size_t next = 0;
        while (next < count || !workers_.empty()) {
            while (next < count && workers_.size() < at_once_) {
                start(next++);
            }
            take_what_came();
            look_at_workers();
            calls_.tick();
        }
    }

  private:
    void start(std::size_t index) {
        SharedWorkState state;
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) {
            fail("no further process can be started");
        }
        std::fflush(nullptr); // else the child would print it once more
        const pid_t process = fork_worker();
        if (process == 0) {
            close(ends[0]);
            tell_work_state(*state);
            keep_small_memory();
            if (limits_.memory != 0) {
                bound_memory(limits_.memory);
            } else {
                limit_memory(machine_memory());
            }
            work(index, ends[1]);
        }
        close(ends[1]);
        fcntl(ends[0], F_SETFL, O_NONBLOCK);
        if (process < 0) {
            close(ends[0]);
            fail("no further process can be started");
        }
        workers_.push_back({index, process, ends[0], std::move(state)});
    }

    static pid_t fork_worker() {
        const SignalsHeldBack held_back;
        const pid_t parent = getpid();
        const pid_t process = fork();
        if (process == 0) {
            become_worker(parent);
        } else if (process > 0) {
            note_worker(process);
        }
        return process;
    }

    // Ends without the clean-up of the parent's objects, which are the parent's to clean.
    [[noreturn]] void work(std::size_t index, int stream) const {
        for (const Worker& other : workers_) {
            close(other.stream);
        }
        _exit(calls_.work(
            index, [&](std::string_view line) { send_all(stream, std::string(line) + '\n'); }));
    }

    void take_what_came() {
        std::vector<pollfd> streams;
        for (const Worker& worker : workers_) {
            streams.push_back({worker.stream, POLLIN, 0});
        }
        wait_for_any(streams);
        throw_if_interrupted(); // before the end of a worker that the same signal ended
        for (std::size_t i = streams.size(); i-- > 0;) {
            if (streams[i].revents != 0 && !take_lines(workers_[i])) {
                end(i);
            }
        }
    }

    // False at the end of the stream.
    bool take_lines(Worker& worker) const {
        std::array<char, std::size_t{64} * 1024> block{};
        const ssize_t count = read(worker.stream, block.data(), block.size());
        if (count < 0) {
            return errno == EINTR || errno == EAGAIN;
        }
        worker.partial.append(block.data(), static_cast<std::size_t>(count));
        take_whole_lines(worker);
        return count > 0;
    }

    void take_whole_lines(Worker& worker) const {
        std::size_t start = 0;
        std::size_t end = worker.partial.find('\n');
        while (end != std::string::npos) {
            calls_.take_line(worker.index, worker.partial.substr(start, end - start));
            start = end + 1;
            end = worker.partial.find('\n', start);
        }
        worker.partial.erase(0, start);
    }

    void look_at_workers() {
        const Clock::time_point now = Clock::now();
        const Clock::duration passed = std::min(now - last_look_, LONGEST_LOOK);
        if (passed < TIME_BETWEEN_LOOKS || limits_.idle_time.count() == 0) {
            return;
        }
        last_look_ = now;
        for (Worker& worker : workers_) {
            worker.idle.add(*worker.state, passed);
            if (worker.idle.total() >= limits_.idle_time) {
                give_up(worker, now);
            }
        }
    }

    static void give_up(Worker& worker, Clock::time_point now) {
        if (worker.given_up == GivenUp::Not) {
            worker.given_up = worker.idle.is_stopped() ? GivenUp::Stopped : GivenUp::Idle;
            worker.given_up_at = now;
            interrupt(worker.process);
        } else if (now - worker.given_up_at > TIME_TO_END) {
            kill(worker.process, SIGKILL);
        }
    }

    void end(std::size_t position) {
        const Worker worker = std::move(workers_[position]);
        workers_.erase(workers_.begin() + static_cast<std::ptrdiff_t>(position));
        const int wait_status = wait_for(worker);
        calls_.take_end(worker.index, {.wait_status = wait_status,
                                       .given_up = worker.given_up,
                                       .code = worker.state->code,
                                       .plugin_ran = worker.state->plugin_ran,
                                       .file = worker.state->file.data()});
    }

    static int wait_for(const Worker& worker) {
        int status = 0;
        while (waitpid(worker.process, &status, 0) < 0 && errno == EINTR) {
        }
        forget_worker(worker.process);
        close(worker.stream);
        return status;
    }

    std::size_t at_once_;
    const WorkerLimits& limits_;
    const WorkerCalls& calls_;
    std::vector<Worker> workers_;
    Clock::time_point last_look_ = Clock::now();
};

} // namespace

void run_workers(std::size_t count, std::size_t at_once, const WorkerLimits& limits,
                 const WorkerCalls& calls) {
    WorkerPool(at_once, limits, calls).run(count);
}

} // namespace talvora::host
