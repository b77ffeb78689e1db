// What a run does to one file: all steps on one working copy, published by one rename.
#pragma once

#include "host/cli/job_plan.h"
#include "host/recipes/recipe.h"
#include "host/recipes/run_history.h"
#include "host/text/failure.h"
#include "host/tree/cached_tree.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <functional>

namespace talvora::host {

struct JobWork {
    const Recipe& recipe;
    RunOrigin origin; // but for the input
    bool dry_run = false;
    bool backup = false;
    bool replace_backup = false;
    bool resume = false;
    std::uint64_t memory_bound = CachedTree::DEFAULT_BOUND; // bytes, of the sets in work
};

// A message on the way to the user: level ("error", "warning", "info", "hint", "detail"), text, and
// for what a unit says its step.
using TellMessage = std::function<void(const nlohmann::ordered_json& message)>;

// Samples read or written since the last call, a few times a second while there are any.
using TellSamples = std::function<void(std::uint64_t count)>;

// Whatever happens is told and stands in the result:
//
//     exit_code   of this file
//     written     true when the output was made
//     skipped     true when an earlier run had made it, with `resume`
//     steps       those that were run: name, unit, sets and filters as in the history
nlohmann::ordered_json do_job(const Job& job, const JobWork& work, const TellMessage& tell,
                              const TellSamples& tell_samples);

} // namespace talvora::host
