// What a unit is tried with: values for its parameters, a tree, and a request that fails.
#pragma once

#include "host/interface/parameters.h"
#include "host/interface/plugin_library.h"
#include "host/validate/injecting_tree.h"
#include "host/validate/sample_trees.h"
#include "host/validate/watched_call.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace talvora::host {

struct ExaminedUnit {
    Unit unit;
    std::vector<ParameterSignature> signatures;
    // Values with which the unit has something to do, guessed from its keys.
    ParameterValues::Given usual;
};

// `signatures` as the unit declared them.
ExaminedUnit examine_unit(const Unit& unit, std::vector<ParameterSignature> signatures);

struct RunPlan {
    std::string name;
    ParameterValues::Given values;
    void (*build)(DataTree& tree);
    std::optional<Injection> injection;
};

// Everything usual; then each boolean true, and the sets named one by one.
std::vector<RunPlan> ordinary_runs(const ExaminedUnit& unit);
// Each parameter left away, then all.
std::vector<RunPlan> runs_without_values(const ExaminedUnit& unit);
// Texts that name nothing, or should not be used as a name, one parameter at a time.
std::vector<RunPlan> runs_with_wrong_texts(const ExaminedUnit& unit);
// Numbers at and beyond every limit, one parameter at a time.
std::vector<RunPlan> runs_with_extreme_numbers(const ExaminedUnit& unit);
std::vector<RunPlan> runs_on_odd_trees(const ExaminedUnit& unit);
// All of these: whatever a user may ask for.
std::vector<RunPlan> all_requested_runs(const ExaminedUnit& unit);
// The first requests of each kind that the ordinary runs make, refused one by one.
std::vector<RunPlan> runs_with_refusals(const ExaminedUnit& unit);

// Values made up for all parameters at once, and a tree chosen for them. The same seed gives the
// same, and stands in the names of the plans.
std::vector<RunPlan> runs_with_made_up_inputs(const ExaminedUnit& unit, std::uint64_t seed);

struct RunOutcome {
    CallReport report;
    std::map<std::string, std::uint64_t> before; // digests of the tree's objects
    std::map<std::string, std::uint64_t> after;
};

// Builds the tree anew and runs the unit on it.
RunOutcome try_run(const ExaminedUnit& unit, const RunPlan& plan);

} // namespace talvora::host
