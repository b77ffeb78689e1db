// What the plug-in takes from the heap for itself and gives back while it runs, by
// whatever road (operator new, malloc, a container).
//
// A test says which code is the plug-in's by sections; the heap of tracked_heap.cpp
// notes what passes. One thread only.
#pragma once

#include <cstdint>

namespace talvora::test_support {

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

// For the heap. True when the allocation that begins is to fail.
bool note_plugin_allocation();
void note_plugin_free();
bool is_in_plugin();

} // namespace talvora::test_support
