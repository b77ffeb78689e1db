// Jobs done in worker processes, one for each.
#pragma once

#include "host/runs/job_plan.h"
#include "host/runs/job_work.h"
#include "host/runs/worker_lines.h"

#include <cstddef>
#include <functional>
#include <span>
#include <string>

namespace talvora::host {

// Called in the parent, as what they are about comes.
struct JobCalls {
    std::function<void(std::size_t index, const WorkerNews& news)> take_news;
    // The job's worker has ended; `reason` says how, of one that has sent no result.
    std::function<void(std::size_t index, const std::string& reason)> take_end;
    // Ten times a second or more often.
    std::function<void()> tick;
};

// Begins the jobs in their order, `at_once` at a time. What a worker that ended left beside its
// output is removed.
void do_jobs(std::span<const Job> jobs, const JobWork& work, std::size_t at_once,
             const JobCalls& calls);

} // namespace talvora::host
