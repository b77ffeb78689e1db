// One step of a run on a tree: its unit, and what is told of it. `source` is the name of the file,
// for what is to be typed; empty for a tree that is in none, which a program works on.
#pragma once

#include "host/filters/filter_facts.h"
#include "host/filters/step_aims.h"
#include "host/guards/guard_finding.h"
#include "host/guards/step_warnings.h"
#include "host/recipes/recipe.h"
#include "host/runs/job_result.h"
#include "host/text/failure.h"
#include "host/tree/observed_tree.h"

#include <span>
#include <string>
#include <vector>

namespace talvora::host {

// Thrown when all that there is to say has been told.
struct StepFailed {
    ExitCode code;
};

// "narrowing (accepted): Imu/Rate: is of ..."
std::string describe_finding(const GuardFinding& finding);

// What guards found, those that are not accepted as errors.
void tell_findings(std::span<const GuardFinding> findings, const TellMessage& tell);

// A few of one step's warnings, and how many there are besides.
void tell_warnings(const Step& step, std::span<const StepWarning> warnings,
                   const TellMessage& tell);

// What the filters of the step do; what is wrong with them is for a guard to say. Told before the
// step, so that who reads along can stop it.
void tell_filters(const Step& step, std::span<const FilterFacts> filters, const TellMessage& tell);

// The values that were found for the step on this file.
void tell_found(const StepCall& call, const TellMessage& tell);

// Runs the step's unit, telling what it says. The errors that it told of though it returned
// success, each once. Throws StepFailed or a StorageError when the results are not to be kept.
std::vector<std::string> run_step(const Step& step, ObservedTree& tree, const std::string& source,
                                  const TellMessage& tell);

} // namespace talvora::host
