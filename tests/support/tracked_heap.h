// The heap that host and plug-in share, seen from the test's side: which of the
// blocks that the recording host handed out were freed, and how often, and what
// the plug-in itself took and gave back while it ran.
//
// Words used here
//   tracked block   handed to the plug-in, which has to free it exactly once. Both
//                   ends are guarded and its bytes start as garbage.
//   plug-in's own   taken from the heap while plug-in code runs, by whatever road
//                   (operator new, malloc, a container).
//
// In an ordinary build the test program defines malloc, free and their relatives,
// which every library of the process then uses. Under AddressSanitizer the
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

// What the code inside this scope allocates is counted as the plug-in's own.
class PluginSection {
  public:
    PluginSection();
    ~PluginSection();
    PluginSection(const PluginSection&) = delete;
    PluginSection& operator=(const PluginSection&) = delete;
};

// Inside a PluginSection: the host at work, whose allocations are not counted.
class HostSection {
  public:
    HostSection();
    ~HostSection();
    HostSection(const HostSection&) = delete;
    HostSection& operator=(const HostSection&) = delete;

  private:
    bool was_plugin_;
};

// Inside a HostSection: the plug-in's code again, called back by the host.
class CallbackSection {
  public:
    CallbackSection();
    ~CallbackSection();
    CallbackSection(const CallbackSection&) = delete;
    CallbackSection& operator=(const CallbackSection&) = delete;
};

// Of the latest PluginSection.
std::uint64_t plugin_allocation_count();
std::int64_t unreleased_plugin_allocation_count();

// Lets the n-th allocation (from 1) of the next PluginSection fail; 0 lets all pass.
// Has no effect where can_refuse_allocations is false.
void refuse_plugin_allocation(std::uint64_t n);
bool can_refuse_allocations();

} // namespace talvora::test_support
