#include "host/system/pending_cleanup.h"

#include "host/text/failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cstring>
#include <string_view>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace talvora::host {
namespace {

// Of all others that end a process that does not handle them SIGKILL cannot be handled, and SIGXFSZ
// is (file_limit.h).
constexpr int INTERRUPTING_SIGNALS[] = {SIGINT,  SIGTERM, SIGHUP,    SIGQUIT, SIGXCPU,
                                        SIGPIPE, SIGUSR1, SIGUSR2,   SIGALRM, SIGVTALRM,
                                        SIGPROF, SIGIO,   SIGSTKFLT, SIGPWR};
constexpr int CRASHING_SIGNALS[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS};

// The bounds of those without a name are known when the program runs.
template <typename Do>
void for_each_interrupting_signal(const Do& step) {
    std::ranges::for_each(INTERRUPTING_SIGNALS, step);
    for (int number = SIGRTMIN; number <= SIGRTMAX; ++number) {
        step(number);
    }
}

// Handlers may touch nothing but lock-free atomics and plain bytes, so the paths
// stand in a fixed table.
constexpr int MAX_PENDING_FILES = 16;

struct PendingSlot {
    std::atomic<bool> taken = false;
    std::atomic<bool> set = false;
    std::atomic<int> file = -1;
    std::array<char, PATH_MAX> path{};
};
std::array<PendingSlot, MAX_PENDING_FILES> pending_slots;

std::array<std::atomic<pid_t>, MAX_WORKERS> workers; // 0: free
std::atomic<bool> is_worker = false;
std::atomic<bool> file_in_place = false;
std::atomic<bool> notes_interruption = false;
std::atomic<int> noted_interruption = 0; // 0: none

PendingSlot& slot_of(int note) {
    return pending_slots[static_cast<std::size_t>(note)];
}

bool is_same_file(const struct stat& one, const struct stat& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

bool is_of(const char* path, int file) {
    struct stat named {};
    struct stat opened {};
    return lstat(path, &named) == 0 && fstat(file, &opened) == 0 && is_same_file(named, opened);
}

void remove_pending_files() {
    for (PendingSlot& slot : pending_slots) {
        if (slot.set && (slot.file < 0 || is_of(slot.path.data(), slot.file))) {
            unlink(slot.path.data());
        }
    }
}

// That of a file with a descriptor; none for others.
const PendingSlot* find_slot(const std::filesystem::path& path) {
    const auto found = std::ranges::find_if(pending_slots, [&](const PendingSlot& slot) {
        return slot.set && slot.file >= 0 && path.native() == slot.path.data();
    });
    return found == pending_slots.end() ? nullptr : &*found;
}

// They remove their files themselves, which is waited for. What they have done is not known.
void end_workers() {
    for (const std::atomic<pid_t>& worker : workers) {
        if (worker > 0) {
            file_in_place = true;
            kill(worker, SIGTERM);
            kill(worker, SIGCONT); // one that is stopped takes no other signal
        }
    }
    for (const std::atomic<pid_t>& worker : workers) {
        if (worker > 0) {
            waitpid(worker, nullptr, 0);
        }
    }
}

// Before a call that does not return the address sanitizer asks for memory, which a handler may
// not do: what was interrupted may be the allocator. Hence the attribute.
[[gnu::no_sanitize_address]] void say_and_exit(std::string_view text, int code) {
    if (!is_worker) {
        [[maybe_unused]] const auto written = write(STDERR_FILENO, text.data(), text.size());
    }
    _exit(code);
}

// False where it is to end the process.
bool note_interruption(int signal_number) {
    int none = 0;
    return notes_interruption && signal_number != SIGPIPE &&
           noted_interruption.compare_exchange_strong(none, signal_number);
}

[[gnu::no_sanitize_address]] void end_interrupted(int signal_number) {
    if (note_interruption(signal_number)) {
        return;
    }
    remove_pending_files();
    end_workers();
    // Nobody reads the results any more: what `head` does is no error.
    if (signal_number == SIGPIPE) {
        _exit(128 + signal_number);
    }
    say_and_exit(file_in_place
                     ? "error: interrupted; each file is as it was, or written and complete\n"
                     : "error: interrupted; the file in work is as it was\n",
                 128 + signal_number);
}

[[gnu::no_sanitize_address]] void end_crashed(int signal_number) {
    remove_pending_files();
    end_workers();
    if (is_worker) {
        // Its handler was reset when it was called: the signal ends the process as soon as
        // this one returns, and tells the parent its name.
        raise(signal_number);
        return;
    }
    say_and_exit(
        file_in_place
            ? "error: the plug-in crashed; each file is as it was, or written and complete\n"
            : "error: the plug-in crashed; the file in work is as it was\n",
        static_cast<int>(ExitCode::Plugin));
}

void handle(int signal_number, void (*handler)(int), int flags) {
    struct sigaction action {};
    sigaction(signal_number, nullptr, &action);
    if (action.sa_handler != SIG_DFL) {
        return;
    }
    action = {};
    action.sa_handler = handler;
    action.sa_flags = flags | SA_ONSTACK;
    sigfillset(&action.sa_mask);
    sigaction(signal_number, &action, nullptr);
}

// A stack overflow leaves no stack for its own handler.
void set_signal_stack() {
    static std::array<char, std::size_t{64} * 1024> room;
    stack_t stack{};
    stack.ss_sp = room.data();
    stack.ss_size = room.size();
    sigaltstack(&stack, nullptr);
}

} // namespace

int note_pending_file(const std::filesystem::path& path, int file) {
    for (int note = 0; note < MAX_PENDING_FILES; ++note) {
        PendingSlot& slot = slot_of(note);
        if (path.native().size() < PATH_MAX && !slot.taken.exchange(true)) {
            std::memcpy(slot.path.data(), path.c_str(), path.native().size() + 1);
            slot.file = file;
            slot.set = true;
            return note;
        }
    }
    throw Failure(ExitCode::Output,
                  fmt::format("{}: too many files at once, or too long a path", path.string()));
}

void forget_pending_file(int note) {
    slot_of(note).set = false;
    slot_of(note).taken = false;
}

bool is_pending_file(const std::filesystem::path& path) {
    return find_slot(path) != nullptr;
}

bool is_file_of(const std::filesystem::path& path, int file) {
    return is_of(path.c_str(), file);
}

std::string name_to_open(const std::filesystem::path& path) {
    const PendingSlot* const slot = find_slot(path);
    if (slot == nullptr) {
        return path.string();
    }
    if (!is_file_of(path, slot->file)) {
        throw Failure(ExitCode::Output,
                      fmt::format("{}: was moved or replaced by another program while it was being "
                                  "written; what has its name now is left alone",
                                  path.string()));
    }
    struct stat opened {};
    struct stat found {};
    const std::string name = fmt::format("/proc/self/fd/{}", slot->file.load());
    const bool leads_there = fstat(slot->file, &opened) == 0 && stat(name.c_str(), &found) == 0 &&
                             is_same_file(opened, found);
    return leads_there ? name : path.string();
}

void note_file_in_place() {
    file_in_place = true;
}

bool is_any_file_in_place() {
    return file_in_place;
}

void note_worker(pid_t process) {
    for (std::atomic<pid_t>& worker : workers) {
        pid_t none = 0;
        if (worker.compare_exchange_strong(none, process)) {
            return;
        }
    }
}

void forget_worker(pid_t process) {
    for (std::atomic<pid_t>& worker : workers) {
        pid_t expected = process;
        worker.compare_exchange_strong(expected, 0);
    }
}

void become_worker(pid_t parent) {
    is_worker = true;
    file_in_place = false;
    notes_interruption = false;
    noted_interruption = 0;
    for (std::atomic<pid_t>& worker : workers) {
        worker = 0;
    }
    for (int note = 0; note < MAX_PENDING_FILES; ++note) {
        forget_pending_file(note);
    }
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) {
        _exit(128 + SIGTERM);
    }
}

void clean_up_on_signals() {
    set_signal_stack();
    for_each_interrupting_signal([](int number) { handle(number, end_interrupted, SA_RESTART); });
    for (const int number : CRASHING_SIGNALS) {
        handle(number, end_crashed, static_cast<int>(SA_RESETHAND));
    }
}

NotedInterruption::NotedInterruption() {
    notes_interruption = true;
}

NotedInterruption::~NotedInterruption() {
    notes_interruption = false;
}

void throw_if_interrupted() {
    if (noted_interruption != 0) {
        throw Interrupted();
    }
}

void end_if_interrupted() {
    if (noted_interruption != 0) {
        notes_interruption = false;
        end_interrupted(noted_interruption);
    }
}

SignalsHeldBack::SignalsHeldBack() {
    sigset_t signals;
    sigemptyset(&signals);
    for_each_interrupting_signal([&](int number) { sigaddset(&signals, number); });
    pthread_sigmask(SIG_BLOCK, &signals, &before_);
}

SignalsHeldBack::~SignalsHeldBack() {
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

} // namespace talvora::host
