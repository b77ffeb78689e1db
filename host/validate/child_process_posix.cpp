#include "host/validate/child_process.h"
#include "host/validate/protocol.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <set>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

extern char** environ;

namespace talvora::host {

namespace {

using Clock = std::chrono::steady_clock;

void check(int error, const char* what) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), what);
    }
}

struct Pipe {
    Pipe() {
        check(pipe2(ends.data(), O_CLOEXEC) == 0 ? 0 : errno, "no pipe for a child process");
        fcntl(ends[0], F_SETFL, O_NONBLOCK);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe() {
        close(ends[0]);
        close_write_end();
    }
    void close_write_end() {
        if (ends[1] >= 0) {
            close(ends[1]);
        }
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
        for (std::string& text : texts) {
            result.push_back(text.data());
        }
        result.push_back(nullptr);
        return result;
    }

    posix_spawn_file_actions_t files_{};
    posix_spawnattr_t attributes_{};
};

std::vector<std::string> environment_with(const std::string& folder) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        if (!std::string_view(*variable).starts_with("TMPDIR=")) {
            variables.emplace_back(*variable);
        }
    }
    variables.push_back("TMPDIR=" + folder);
    return variables;
}

struct Descriptor {
    explicit Descriptor(int file, const char* what) : number(file) {
        check(file >= 0 ? 0 : errno, what);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { close(number); }

    int number;
};

// Those of InterruptionsHeldBack.
sigset_t held_back{};

// False at the end of the output, and when there is nothing to be read now.
bool read_some(int file, KeptOutput& output) {
    std::array<char, 65536> buffer;
    const ssize_t count = read(file, buffer.data(), buffer.size());
    if (count > 0) {
        output.append({buffer.data(), static_cast<std::size_t>(count)});
    }
    return count > 0;
}

// Reads until the child has ended, whoever still holds the other end then: why it stopped.
ChildOutcome::End follow(pid_t child, int file, Clock::time_point end, KeptOutput& output) {
    const Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, child, 0)),
                             "no descriptor of a child process");
    const Descriptor interruption(signalfd(-1, &held_back, SFD_CLOEXEC), "no signal descriptor");
    std::array<pollfd, 3> waits{
        {{process.number, POLLIN, 0}, {interruption.number, POLLIN, 0}, {file, POLLIN, 0}}};
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        if (left.count() <= 0 ||
            poll(waits.data(), waits.size(), static_cast<int>(left.count())) == 0) {
            return ChildOutcome::End::TimedOut;
        }
        if (waits[1].revents != 0) {
            return ChildOutcome::End::Interrupted;
        }
        if (waits[0].revents != 0) {
            return ChildOutcome::End::Exited;
        }
        if (waits[2].revents != 0 && !read_some(file, output)) {
            waits[2].fd = -1; // the child closed it and goes on
        }
    }
}

// What is in the pipe when nobody writes any more. A pipe holds less than so many reads
// give: what still comes then is written by somebody who outlives the child.
void read_rest(int file, KeptOutput& output) {
    constexpr int MAX_READS = 64;
    int count = 0;
    while (count < MAX_READS && read_some(file, output)) {
        ++count;
    }
}

// The number of the parent stands behind the name, which may hold anything, and the state.
pid_t read_parent(const std::filesystem::path& process) {
    std::string text;
    std::getline(std::ifstream(process / "stat"), text, '\0');
    const std::size_t name_end = text.rfind(')');
    const std::size_t parent_at = name_end == std::string::npos ? name_end : name_end + 4;
    return parent_at < text.size() ? std::atoi(text.c_str() + parent_at) : 0;
}

std::set<pid_t> list_children() {
    std::set<pid_t> children;
    siginfo_t any{};
    if (waitid(P_ALL, 0, &any, WEXITED | WNOHANG | WNOWAIT) != 0) {
        return children; // the usual case, in which nothing has to be looked through
    }
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
        if (const pid_t process = std::atoi(entry.path().filename().c_str());
            process > 0 && read_parent(entry.path()) == getpid()) {
            children.insert(process);
        }
    }
    return children;
}

// What a child started comes to this process when the child is gone.
class StrayProcesses {
  public:
    StrayProcesses() : before_(list_children()) { prctl(PR_SET_CHILD_SUBREAPER, 1); }

    // Returns how many there were. Ending one may bring its own children.
    std::size_t end() const {
        std::size_t count = 0;
        for (std::set<pid_t> found = find(); !found.empty(); found = find()) {
            for (const pid_t stray : found) {
                kill(stray, SIGKILL);
                waitpid(stray, nullptr, 0);
                ++count;
            }
        }
        return count;
    }

  private:
    std::set<pid_t> find() const {
        std::set<pid_t> found = list_children();
        std::erase_if(found, [&](pid_t process) { return before_.contains(process); });
        return found;
    }

    std::set<pid_t> before_;
};

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
    const StrayProcesses strays;
    Pipe pipe;
    const pid_t child = SpawnPlan(pipe).start(command, environment_with(folder));
    pipe.close_write_end();
    ChildOutcome outcome;
    KeptOutput output;
    outcome.end = follow(child, pipe.ends[0], end, output);
    kill(-child, SIGKILL); // before it is let go: its number is that of its group
    kill(child, SIGKILL);  // which it has not joined yet where an emulator does not wait for that
    int status = 0;
    waitpid(child, &status, 0);
    outcome.left_processes = strays.end();
    read_rest(pipe.ends[0], output);
    if (outcome.end == ChildOutcome::End::Exited) {
        set_end(status, outcome);
    }
    outcome.output = output.text();
    outcome.unkept_bytes = output.unkept_bytes();
    return outcome;
}

InterruptionsHeldBack::InterruptionsHeldBack() {
    sigemptyset(&held_back);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        struct sigaction action {};
        sigaction(number, nullptr, &action);
        if (action.sa_handler != SIG_IGN) {
            sigaddset(&held_back, number);
        }
    }
    pthread_sigmask(SIG_BLOCK, &held_back, nullptr);
}

InterruptionsHeldBack::~InterruptionsHeldBack() {
    const sigset_t held = held_back;
    sigemptyset(&held_back);
    pthread_sigmask(SIG_UNBLOCK, &held, nullptr);
}

std::string own_program() {
    return std::filesystem::read_symlink("/proc/self/exe").string();
}

void limit_this_process(std::size_t max_bytes) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const rlimit no_core{0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    const rlimit memory{max_bytes, max_bytes};
    if (max_bytes > 0) {
        setrlimit(RLIMIT_DATA, &memory);
    }
}

std::optional<std::size_t> read_address_limit() {
    rlimit limit{};
    getrlimit(RLIMIT_AS, &limit);
    return limit.rlim_cur == RLIM_INFINITY ? std::nullopt : std::optional(limit.rlim_cur);
}

void take_default_signals() {
    for (int number = 1; number < NSIG; ++number) {
        std::signal(number, SIG_DFL);
    }
}

} // namespace talvora::host
