// Pieces of work done in child processes, several at a time, so that a crash ends one
// piece of work and not the program.
#pragma once

#include "host/system/work_state.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace talvora::host {

// What a worker may take while it does not get on.
struct WorkerLimits {
    // Without progress in a file, or stopped; zero: no limit. A call into the library of the
    // file's format that ends is progress, and so are bytes that it has read or written. Time in
    // a plug-in's code does not count, nor does time in which this process was stopped.
    std::chrono::seconds idle_time{60};
    // Bytes of memory, beside what this process has; zero: as much as the machine has.
    std::uint64_t memory = 0;
};

// Sends a line without a line end to the parent.
using SendLine = std::function<void(std::string_view line)>;

enum class GivenUp { Not, Idle, Stopped };

// How a worker ended, and where it was then.
struct WorkerEnd {
    int wait_status = 0; // as waitpid gives it
    GivenUp given_up = GivenUp::Not;
    CodeAtWork code = CodeAtWork::Own;
    bool plugin_ran = false;
    std::string file = {}; // the last one that it worked in; may be empty
};

struct WorkerCalls {
    // In the child; the result is its exit status. It must not throw; nothing that it changes is
    // seen in the parent.
    std::function<int(std::size_t index, const SendLine& send)> work;
    // In the parent: a line as it comes, and the end.
    std::function<void(std::size_t index, const std::string& line)> take_line;
    std::function<void(std::size_t index, const WorkerEnd& end)> take_end;
    // In the parent, ten times a second or more often.
    std::function<void()> tick;
};

// Does the work with the indices 0 to count - 1, each in a child of its own, begun in this
// order and `at_once` (up to MAX_WORKERS of host/system/pending_cleanup.h) at a time. Costs a fork
// per piece, about a millisecond. Throws Interrupted (pending_cleanup.h) when that was noted; no
// worker is left then.
void run_workers(std::size_t count, std::size_t at_once, const WorkerLimits& limits,
                 const WorkerCalls& calls);

} // namespace talvora::host
