// What is done to a file: units with their parameters, one after the other on one
// working copy.
#pragma once

#include "host/interface/parameters.h"
#include "host/interface/plugin_library.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// What a step is to come to, in the place of parameters that the host finds for each file, and
// how its unit is called.
struct StepAims {
    std::vector<double> edges =
        {}; // Hz: where a filter is to be 3 dB down; none: by its parameters
    std::optional<double> to_rate = {}; // Hz, that sets are brought down to; nothing: by a hint
    bool set_by_set = false;            // the unit runs for each of the chosen sets by itself

    bool operator==(const StepAims&) const = default;
};

// One call of a unit, or one for each of its sets.
struct Step {
    std::string name;           // unique in its recipe; of a single run, the unit's short name
    const Unit* unit = nullptr; // never null; the library's, valid until unload
    ParameterValues values;     // as given; what was not given has its declared default
    std::vector<std::string> accept = {}; // guards (host/guards/guards.h) that do not refuse it
    StepAims aims = {};
};

// Its user has accepted the guard by name.
inline bool accepts_guard(const Step& step, std::string_view guard) {
    return std::ranges::find(step.accept, guard) != step.accept.end();
}

struct Recipe {
    std::string description; // may be empty
    std::vector<Step> steps; // at least one
};

} // namespace talvora::host
