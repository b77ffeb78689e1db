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

// Called in the parent, as what they are about comes.
struct JobCalls {
    std::function<void(std::size_t index, const WorkerNews& news)> take_news;
    // The job's worker has ended; of one that has sent no result the failure tells why, in what
    // stands behind the name of its input.
    std::function<void(std::size_t index, const Failure& failure)> take_end;
    // Ten times a second or more often.
    std::function<void()> tick;
};

struct JobWorkers {
    std::size_t at_once = 1;
    WorkerLimits limits;
};

// Begins the jobs in their order. What a worker that ended left beside its output is removed.
void do_jobs(std::span<const Job> jobs, const JobWork& work, const JobWorkers& workers,
             const JobCalls& calls);

} // namespace talvora::host
