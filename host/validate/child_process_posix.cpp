#include "host/validate/child_process.h"

#include <array>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

extern char** environ;

namespace talvora::host {

namespace {

using Clock = std::chrono::steady_clock;

void check(int error, const char* what) {
    if (error != 0)
        throw std::system_error(error, std::generic_category(), what);
}

struct Pipe {
    Pipe() { check(pipe2(ends.data(), O_CLOEXEC) == 0 ? 0 : errno, "no pipe for a child process"); }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe() {
        close(ends[0]);
        close_write_end();
    }
    void close_write_end() {
        if (ends[1] >= 0)
            close(ends[1]);
        ends[1] = -1;
    }

    std::array<int, 2> ends{};
};

// How a child is started: its files, its group, its signals as a program expects them.
class SpawnPlan {
  public:
    explicit SpawnPlan(const Pipe& output) {
        posix_spawn_file_actions_init(&files_);
        posix_spawn_file_actions_addopen(&files_, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&files_, output.ends[1], 1);
        posix_spawn_file_actions_adddup2(&files_, output.ends[1], 2);
        posix_spawnattr_init(&attributes_);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK);
        posix_spawnattr_setpgroup(&attributes_, 0);
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_setsigmask(&attributes_, &none);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;
    ~SpawnPlan() {
        posix_spawn_file_actions_destroy(&files_);
        posix_spawnattr_destroy(&attributes_);
    }

    pid_t start(std::vector<std::string> words, std::vector<std::string> variables) const {
        pid_t child = 0;
        check(posix_spawn(&child, words.front().c_str(), &files_, &attributes_,
                          pointers(words).data(), pointers(variables).data()),
              words.front().c_str());
        return child;
    }

  private:
    static std::vector<char*> pointers(std::vector<std::string>& texts) {
        std::vector<char*> result;
        result.reserve(texts.size() + 1);
        for (std::string& text : texts)
            result.push_back(text.data());
        result.push_back(nullptr);
        return result;
    }

    posix_spawn_file_actions_t files_{};
    posix_spawnattr_t attributes_{};
};

std::vector<std::string> environment_with(const std::string& folder) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable)
        if (!std::string_view(*variable).starts_with("TMPDIR="))
            variables.emplace_back(*variable);
    variables.push_back("TMPDIR=" + folder);
    return variables;
}

// False when the time is over before the child has closed its output.
bool read_output(int file, Clock::time_point end, std::string& output) {
    std::array<char, 4096> buffer;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        pollfd wait{file, POLLIN, 0};
        if (left.count() <= 0 || poll(&wait, 1, static_cast<int>(left.count())) == 0)
            return false;
        const ssize_t count = read(file, buffer.data(), buffer.size());
        if (count == 0)
            return true;
        if (count > 0)
            output.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

// A child that closed its output may still go on. One that has ended is not let go yet:
// its number is that of its group.
bool wait_until(pid_t child, Clock::time_point end) {
    siginfo_t ended{};
    while (waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           ended.si_pid == 0) {
        if (Clock::now() >= end)
            return false;
        usleep(500);
    }
    return true;
}

std::string name_signal(int signal) {
    const char* name = sigabbrev_np(signal);
    const char* text = sigdescr_np(signal);
    return name == nullptr || text == nullptr ? "signal " + std::to_string(signal)
                                              : std::string(text) + " (SIG" + name + ")";
}

void set_end(int status, ChildOutcome& outcome) {
    if (WIFSIGNALED(status)) {
        outcome.end = ChildOutcome::End::Crashed;
        outcome.reason = name_signal(WTERMSIG(status));
    } else {
        outcome.exit_code = WEXITSTATUS(status);
    }
}

} // namespace

ChildOutcome run_child(const std::vector<std::string>& command, std::chrono::milliseconds limit,
                       const std::string& folder) {
    const auto end = Clock::now() + limit;
    Pipe pipe;
    const pid_t child = SpawnPlan(pipe).start(command, environment_with(folder));
    pipe.close_write_end();
    ChildOutcome outcome;
    const bool has_ended = read_output(pipe.ends[0], end, outcome.output) && wait_until(child, end);
    kill(-child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    if (has_ended)
        set_end(status, outcome);
    else
        outcome.end = ChildOutcome::End::TimedOut;
    return outcome;
}

std::string own_program() {
    return std::filesystem::read_symlink("/proc/self/exe").string();
}

void limit_this_process(std::size_t max_bytes) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const rlimit no_core{0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    const rlimit memory{max_bytes, max_bytes};
    if (max_bytes > 0)
        setrlimit(RLIMIT_DATA, &memory);
}

void take_default_signals() {
    for (int number = 1; number < NSIG; ++number)
        std::signal(number, SIG_DFL);
}

} // namespace talvora::host
