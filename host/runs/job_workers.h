// Jobs done in worker processes, one for each.
#pragma once

#include "host/runs/job_plan.h"
#include "host/runs/job_work.h"
#include "host/runs/worker_lines.h"
#include "host/runs/worker_pool.h"
#include "host/text/failure.h"

#include <cstddef>
#include <functional>
#include <span>

namespace talvora::host {

// Of a worker before it could tell of its result.
struct EarlyEnd {
    Failure failure;      // why, in what stands behind the name of the input
    bool written = false; // the output is in its place all the same
};

// Called in the parent, as what they are about comes.
struct JobCalls {
    std::function<void(std::size_t index, const WorkerNews& news)> take_news;
    // The job's worker has ended, and this became of one that has sent no result.
    std::function<void(std::size_t index, const EarlyEnd& end)> take_end;
    // The work was interrupted, and the output of this job is in its place; it may have told so.
    std::function<void(std::size_t index)> take_written;
    // Ten times a second or more often.
    std::function<void()> tick;
};

struct JobWorkers {
    std::size_t at_once = 1;
    WorkerLimits limits;
};

// Begins the jobs in their order. What a worker that ended left beside its output is removed.
// Throws Interrupted as run_workers does.
void do_jobs(std::span<const Job> jobs, const JobWork& work, const JobWorkers& workers,
             const JobCalls& calls);

} // namespace talvora::host
