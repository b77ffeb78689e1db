// What becomes of temporary files, and of worker processes, when a signal ends the
// process.
#pragma once

#include <csignal>
#include <filesystem>
#include <string>
#include <sys/types.h>

namespace talvora::host {

// Notes a file that is to be removed by the handlers below; the result names the
// note. A process holds few at a time (MAX_PENDING_FILES in the source); more are
// refused with a Failure of the output. With a descriptor, `file`, that is open until it is
// forgotten, the path is theirs to remove only while it leads to that very file.
int note_pending_file(const std::filesystem::path& path, int file = -1);
void forget_pending_file(int note);

// A name by which a noted file with a descriptor is opened and changed whatever others make of its
// path, where the system has one (/proc); for all other files the path. Throws a Failure of the
// output when another file, or none, has a noted path.
std::string name_to_open(const std::filesystem::path& path);

// Whether the path is that of a noted file with a descriptor.
bool is_pending_file(const std::filesystem::path& path);

// Whether the path itself, no link's target, is the open file.
bool is_file_of(const std::filesystem::path& path, int file);

// A file of this process, or of a worker, has taken the place of its destination: what is told of
// an early end does not say any more that nothing changed.
void note_file_in_place();
bool is_any_file_in_place();

// A child process that is to end with this one. At most MAX_WORKERS at a time.
constexpr int MAX_WORKERS = 256;
void note_worker(pid_t process);
void forget_worker(pid_t process);

// In a child, right after the fork from `parent`: the notes are the parent's alone. A
// signal still removes the child's own files, but nothing is printed, a crash ends the child
// with its signal, and the parent's death ends it too.
void become_worker(pid_t parent);

// From here on every signal that would end the process, SIGINT, SIGTERM, SIGUSR1 and the like,
// removes the noted files and ends it with 128 + the signal's number; those of a crash, SIGSEGV,
// SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP and SIGSYS, do with the exit code of a broken plug-in.
// Signals that are handled or ignored already stay so; SIGKILL cannot be helped.
void clean_up_on_signals();

// While it lives, the first signal that interrupts this process, but SIGPIPE, is noted and does not
// end it; the next one does. Not in workers.
class NotedInterruption {
  public:
    NotedInterruption();
    NotedInterruption(const NotedInterruption&) = delete;
    NotedInterruption& operator=(const NotedInterruption&) = delete;
    ~NotedInterruption();
};

// Thrown where work is to end because an interruption was noted.
struct Interrupted {};
void throw_if_interrupted();

// Ends the process as a signal that was noted does, if one was. No worker is left then.
void end_if_interrupted();

// Holds back the signals that clean up while a file and its note are made together. Only the
// calling thread does: any other is to be started with them held back, which it keeps, or it
// would take the signal meanwhile.
class SignalsHeldBack {
  public:
    SignalsHeldBack();
    SignalsHeldBack(const SignalsHeldBack&) = delete;
    SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;
    ~SignalsHeldBack();

  private:
    sigset_t before_{};
};

} // namespace talvora::host
