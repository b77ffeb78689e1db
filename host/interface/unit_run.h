// Asks a unit for its parameters, and runs it on a tree.
#pragma once

#include "host/interface/host_call.h"
#include "host/interface/plugin_library.h"

#include <vector>

namespace talvora::host {

// The unit's parameters in the order of declaration. PluginError when it declares one
// that cannot be read, the same key twice, breaks the interface or throws; std::bad_alloc
// stays what it is.
std::vector<ParameterSignature> declare_unit(const Unit& unit);

struct UnitOutcome {
    bool succeeded = false; // what the unit returned
    CallProblems problems;

    // The results may be kept: the unit succeeded and got all that it asked for.
    bool is_good() const {
        return succeeded && problems.refused_requests.empty() &&
               problems.interface_breaks.empty() && !problems.storage_error &&
               !problems.guard_failure && !problems.out_of_memory;
    }
};

// Runs the unit on the thread of the caller, its messages going to the sink as they
// come. What it changed in the tree stays changed, whatever the outcome. PluginError
// when it throws, but for std::bad_alloc, by which units say that memory has run out.
UnitOutcome run_unit(const Unit& unit, DataTree& tree, const ParameterValues& values,
                     const MessageSink& sink);

} // namespace talvora::host
