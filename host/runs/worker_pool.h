// Pieces of work done in child processes, several at a time, so that a crash ends one
// piece of work and not the program.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace talvora::host {

// Sends a line without a line end to the parent.
using SendLine = std::function<void(std::string_view line)>;

struct WorkerCalls {
    // In the child. It must not throw; nothing that it changes is seen in the parent.
    std::function<void(std::size_t index, const SendLine& send)> work;
    // In the parent: a line as it comes, and the end with the status that waitpid gives.
    std::function<void(std::size_t index, const std::string& line)> take_line;
    std::function<void(std::size_t index, int wait_status)> take_end;
    // In the parent, ten times a second or more often.
    std::function<void()> tick;
};

// Does the work with the indices 0 to count - 1, each in a child of its own, begun in this
// order and `at_once` (up to MAX_WORKERS of host/system/pending_cleanup.h) at a time. Costs a fork
// per piece, about a millisecond.
void run_workers(std::size_t count, std::size_t at_once, const WorkerCalls& calls);

} // namespace talvora::host
