// Asks the unit itself whether it takes a filter's parameters.
#pragma once

#include "host/interface/parameters.h"
#include "host/interface/plugin_library.h"

#include <optional>
#include <string>

namespace talvora::host {

// Runs the filter unit on a set of one sample at this rate, in memory, with the values of
// FILTER_KEYS. What it reports when it refuses them; nothing when it takes them.
std::optional<std::string> find_refusal(const Unit& unit, const ParameterValues& values,
                                        float sample_rate);

} // namespace talvora::host
