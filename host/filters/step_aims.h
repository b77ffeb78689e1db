// Steps that say what they are to come to (StepAims of host/recipes/recipe.h) in the place of
// parameters: what of them is given by mistake, and the parameters that are found for a file.
#pragma once

#include "host/filters/filter_facts.h"
#include "host/recipes/recipe.h"
#include "host/recipes/run_history.h"
#include "host/tree/data_tree.h"

#include <span>
#include <string>
#include <vector>

namespace talvora::host {

// The keys of parameters whose values the aims find.
std::vector<std::string> list_found_keys(const StepAims& aims);

// What is wrong with the values of a step and its aims beyond their types, before any file is
// looked at: as check_values, texts that are no UTF-8, and aims that the unit cannot have or that
// exclude parameters.
std::vector<ParameterProblem> check_step(const Unit& unit, const ParameterValues& values,
                                         const StepAims& aims);

// A call of a step's unit on one file.
struct StepCall {
    Step step;               // with the values that were found, and a hint (hinted_tree.h) where
                             // the aim is a rate
    FoundParameters found{}; // no values where nothing was to be found
};

// One call, or one for each of the sets that the step chooses, where its aim is that: those are
// then chosen by themselves. The step names no patterns any more. Throws a Failure, exit code
// UnitFailed, where the aims cannot be had on this file, or where the unit would find no end in
// groups that lead back to those above; its text names neither unit nor file. What is wrong
// with the names of sets, and with sets that have no rate, is left to the unit to report.
std::vector<StepCall> plan_calls(const Step& step, DataTree& tree);

// The filters of all calls, one for each rate (step_filters.h).
std::vector<FilterFacts> find_filters(std::span<const StepCall> calls, DataTree& tree);

} // namespace talvora::host
