#include "host/runs/worker_pool.h"

#include "host/system/pending_cleanup.h"
#include "host/text/failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace talvora::host {
namespace {

constexpr int TICK_MILLISECONDS = 100;

struct Worker {
    std::size_t index = 0;
    pid_t process = 0;
    int stream = -1;     // what it sends
    std::string partial; // a line that has not ended yet
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

class WorkerPool {
  public:
    WorkerPool(std::size_t at_once, const WorkerCalls& calls) : at_once_(at_once), calls_(calls) {}
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;
    // Workers are left only when a call threw.
    ~WorkerPool() {
        for (const Worker& worker : workers_) {
            kill(worker.process, SIGTERM);
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
            calls_.tick();
        }
    }

  private:
    void start(std::size_t index) {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) {
            fail("no further process can be started");
        }
        std::fflush(nullptr); // else the child would print it once more
        const pid_t process = fork_worker();
        if (process == 0) {
            close(ends[0]);
            work(index, ends[1]);
        }
        close(ends[1]);
        if (process < 0) {
            close(ends[0]);
            fail("no further process can be started");
        }
        workers_.push_back({index, process, ends[0], {}});
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
        calls_.work(index,
                    [&](std::string_view line) { send_all(stream, std::string(line) + '\n'); });
        _exit(0);
    }

    void take_what_came() {
        std::vector<pollfd> streams;
        for (const Worker& worker : workers_) {
            streams.push_back({worker.stream, POLLIN, 0});
        }
        poll(streams.data(), streams.size(), TICK_MILLISECONDS);
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

    void end(std::size_t position) {
        const Worker worker = std::move(workers_[position]);
        workers_.erase(workers_.begin() + static_cast<std::ptrdiff_t>(position));
        calls_.take_end(worker.index, wait_for(worker));
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
    const WorkerCalls& calls_;
    std::vector<Worker> workers_;
};

} // namespace

void run_workers(std::size_t count, std::size_t at_once, const WorkerCalls& calls) {
    WorkerPool(at_once, calls).run(count);
}

} // namespace talvora::host
