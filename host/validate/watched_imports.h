// What a plug-in asks of the platform while one of its operations is at work: memory, which
// it gets from the guarded heap, mappings, files, threads, processes and signals, which are
// noted, and the time.
#pragma once

#include <set>
#include <string>

namespace talvora::host {

// Watches the libraries in the process that are not in `own_libraries`, and the C++
// library that they share with this program. For the life of the process.
void watch_imports(const std::set<std::string>& own_libraries);

// While it lives, the plug-in is at work on this thread.
class PluginAtWork {
  public:
    PluginAtWork();
    PluginAtWork(const PluginAtWork&) = delete;
    PluginAtWork& operator=(const PluginAtWork&) = delete;
    ~PluginAtWork();
};

enum class Forbidden { File, Thread, Process, Signal };

// Names of the functions of a kind that were called since the last time it was asked.
std::set<std::string> take_forbidden_calls(Forbidden kind);

// From here on the plug-in is told of times that are years ahead and run on at every look.
void shift_clocks();

} // namespace talvora::host
