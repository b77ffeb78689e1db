// What is done to a file: units with their parameters, one after the other on one
// working copy.
#pragma once

#include "host/interface/parameters.h"
#include "host/interface/plugin_library.h"

#include <string>
#include <vector>

namespace talvora::host {

// One call of a unit.
struct Step {
    std::string name;           // unique in its recipe; of a single run, the unit's short name
    const Unit* unit = nullptr; // never null; the library's, valid until unload
    ParameterValues values;     // as given; what was not given has its declared default
    std::vector<std::string> accept = {}; // guards (host/guards/guards.h) that do not refuse it
};

struct Recipe {
    std::string description; // may be empty
    std::vector<Step> steps; // at least one
};

} // namespace talvora::host
