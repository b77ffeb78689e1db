// Another program run to its end, or to a time limit.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace talvora::host {

struct ChildOutcome {
    enum class End { Exited, Crashed, TimedOut };

    End end = End::Exited;
    int exit_code = 0;  // of a program that exited
    std::string reason; // of one that crashed: "segmentation fault (SIGSEGV)"
    std::string output; // what it wrote to its standard output and error, in its order
};

// Starts `command`, its first word the program's file, without input and with `folder` as
// its place for temporary files. What it started itself ends with it. Throws
// std::system_error when it cannot be started.
ChildOutcome run_child(const std::vector<std::string>& command, std::chrono::milliseconds limit,
                       const std::string& folder);

// The file of this program.
std::string own_program();

// Called by a child that must not outlive who started it, leaves no core file behind and
// may use at most so many bytes of memory (0: as many as there are).
void limit_this_process(std::size_t max_bytes);

// Signals end this process from here on, whatever its own start arranged or it was started
// with.
void take_default_signals();

} // namespace talvora::host
