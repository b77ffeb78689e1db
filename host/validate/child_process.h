// Another program run to its end, or to a time limit.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace talvora::host {

struct ChildOutcome {
    enum class End { Exited, Crashed, TimedOut, Interrupted };

    End end = End::Exited;
    int exit_code = 0;  // of a program that exited
    std::string reason; // of one that crashed: "segmentation fault (SIGSEGV)"
    // Of what it wrote to its standard output and error, what KeptOutput keeps.
    std::string output;
    std::uint64_t unkept_bytes = 0;
    // How many processes it started were still there when it had come to its end. They are
    // ended. Linux alone tells.
    std::size_t left_processes = 0;
};

// Starts `command`, its first word the program's file, without input and with `folder` as
// its place for temporary files. What it started itself ends with it, also what left its
// session, and nothing of it is waited for. Throws std::system_error when it cannot be
// started.
ChildOutcome run_child(const std::vector<std::string>& command, std::chrono::milliseconds limit,
                       const std::string& folder);

// Holds back the signals that interrupt a program, save those that it ignores, so that it
// can tidy up: run_child ends its child and comes back when one is there, and the destructor
// lets it have its effect. On Windows it does nothing.
class InterruptionsHeldBack {
  public:
    InterruptionsHeldBack();
    InterruptionsHeldBack(const InterruptionsHeldBack&) = delete;
    InterruptionsHeldBack& operator=(const InterruptionsHeldBack&) = delete;
    ~InterruptionsHeldBack();
};

// The file of this program.
std::string own_program();

// Called by a child that must not outlive who started it, leaves no core file behind and
// may use at most so many bytes of memory (0: as many as there are).
void limit_this_process(std::size_t max_bytes);

// How many addresses a process that is started may use (ulimit -v); nothing for any number.
std::optional<std::size_t> read_address_limit();

// Signals end this process from here on, whatever its own start arranged or it was started
// with.
void take_default_signals();

} // namespace talvora::host
