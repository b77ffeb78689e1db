// Work in blocks, parted among threads.
#pragma once

#include "library/talvora/talvora.h"

#include <cstddef>
#include <functional>

namespace talvora::library {

// To be called now and then by work on a long block: throws when the work has ended.
using AskToGoOn = std::function<void()>;

// What one thread does to a block, by its number.
using BlockWork = std::function<void(std::size_t block)>;

struct WorkerPlan {
    std::size_t block_count = 0;
    std::size_t worker_count = 1; // the calling thread is one of them
    talvora_should_stop should_stop = nullptr;
    void* context = nullptr;
};

// Does every block once, in any order. Each thread makes its own work. Where the system gives no
// more threads, fewer do it. In all of them numbers are rounded to the nearest and denormal ones
// are numbers, whatever the caller's thread has chosen; that is as it was after the call.
//
// The calling thread asks `should_stop` first of all, before each of its blocks, when its work asks
// to go on, and now and then while it waits for the others; when it says so no block is begun any
// more, and a CallError of TALVORA_STOPPED is thrown. The first exception of any thread ends the
// work likewise, and is thrown when all have come to their ends.
void run_blocks(const WorkerPlan& plan,
                const std::function<BlockWork(const AskToGoOn&)>& make_work);

} // namespace talvora::library
