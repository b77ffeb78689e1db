// What of the process a plug-in has to leave as it found it.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace talvora::host {

enum class StateAspect {
    FloatingPoint,
    Locale,
    Signals,
    Surroundings,
    Threads,
    Files,
    Handlers,
    Limits
};

// By name: the setting as a text, so that a difference can be shown.
using Settings = std::map<std::string, std::string>;

// Settings that the platform does not tell are left away; which aspects are complete, is
// told by `is_known`.
Settings read_process_state(StateAspect aspect);
bool is_known(StateAspect aspect);

// One sentence per setting that differs.
std::vector<std::string> describe_changes(const Settings& before, const Settings& after);

} // namespace talvora::host
