// The heap that host and plug-in share, seen from the test's side: which of the
// blocks that the recording host handed out were freed, and how often.
//
// A tracked block is one that the plug-in has to free exactly once. Both its ends are
// guarded and its bytes start as garbage.
//
// In an ordinary build malloc, free and their relatives are the test program's own, for
// every library of the process (heap_watch.h says how). Under AddressSanitizer the
// sanitizer's allocator stays in place: it guards the blocks and stops the program
// at a second free, and its hooks do the counting.
//
// One thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace talvora::test_support {

// A block of `byte_count` bytes, never null, for the plug-in to free. `what` names
// it in the sentences of settle_tracked_blocks.
void* allocate_tracked(std::size_t byte_count, const std::string& what);

// Ends the watch on every block and forgets them. One sentence for each block that
// was not freed exactly once, was written outside its bounds or after it was freed,
// and for each free of an address inside a block.
std::vector<std::string> settle_tracked_blocks();

// False under a sanitizer: its allocator refuses nothing, and it ends the program
// itself at a second free or a write outside a block.
bool can_refuse_allocations();

} // namespace talvora::test_support
