#include "host/runs/job_workers.h"

#include "host/runs/worker_failure.h"
#include "host/system/safe_write.h"

#include <fmt/format.h>

namespace talvora::host {
namespace {

// A worker works on a copy, but for the output of an earlier run, which --resume looks at.
std::string name_file(const Job& job, const WorkerEnd& end) {
    const bool in_output = end.file == job.output && job.output != job.input;
    return in_output ? job.output.string() + ": " : "";
}

Failure explain(const Job& job, const WorkerEnd& end, const WorkerLimits& limits) {
    const Failure failure = explain_end(end, limits);
    return {failure.code(),
            fmt::format("{}{}; the output is as it was, or complete", name_file(job, end),
                        failure.what()),
            failure.hints()};
}

int work_in_child(const Job& job, const JobWork& work, const SendLine& send) {
    const JobResult result = do_job(
        job, work, [&](const JobMessage& message) { send(encode_line(message)); },
        [&](const SampleCount& samples) { send(encode_line(samples)); });
    send(encode_line(result));
    return 0;
}

} // namespace

void do_jobs(std::span<const Job> jobs, const JobWork& work, const JobWorkers& workers,
             const JobCalls& calls) {
    run_workers(
        jobs.size(), workers.at_once, workers.limits,
        {.work = [&](std::size_t i,
                     const SendLine& send) { return work_in_child(jobs[i], work, send); },
         .take_line = [&](std::size_t i,
                          const std::string& line) { calls.take_news(i, decode_line(line)); },
         .take_end =
             [&](std::size_t i, const WorkerEnd& end) {
                 sweep_beside(jobs[i].output);
                 calls.take_end(i, explain(jobs[i], end, workers.limits));
             },
         .tick = calls.tick});
}

} // namespace talvora::host
