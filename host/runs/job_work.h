// What a job does: all steps on one working copy, published by one rename.
#pragma once

#include "host/recipes/recipe.h"
#include "host/recipes/run_history.h"
#include "host/runs/job_plan.h"
#include "host/runs/job_result.h"
#include "host/tree/cached_tree.h"

#include <cstdint>

namespace talvora::host {

// What is the same for all jobs of a run.
struct JobWork {
    const Recipe& recipe;
    RunOrigin origin; // but for the input
    bool dry_run = false;
    bool backup = false;
    bool replace_backup = false;
    bool resume = false;
    std::uint64_t memory_bound = CachedTree::DEFAULT_BOUND; // bytes, of the sets in work
};

// Whatever happens is told and stands in the result, with the steps that were run.
JobResult do_job(const Job& job, const JobWork& work, const TellMessage& tell,
                 const TellSamples& tell_samples);

} // namespace talvora::host
