#include "host/runs/job_workers.h"

#include "host/hdf5/hdf5_tree.h"
#include "host/runs/output_files.h"
#include "host/runs/publish_result.h"
#include "host/runs/worker_failure.h"
#include "host/system/pending_cleanup.h"
#include "host/system/safe_write.h"

#include <fmt/format.h>

#include <string_view>
#include <vector>

namespace talvora::host {
namespace {

// A worker works on a copy, but for the output of an earlier run, which --resume looks at.
std::string name_file(const Job& job, const WorkerEnd& end) {
    const bool in_output = end.file == job.output && job.output != job.input;
    return in_output ? job.output.string() + ": " : "";
}

struct PlacesBefore {
    OutputBefore output;
    OutputBefore backup;
};

std::vector<PlacesBefore> look_at_places(std::span<const Job> jobs) {
    std::vector<PlacesBefore> places;
    for (const Job& job : jobs) {
        places.push_back({OutputBefore(job.output), OutputBefore(backup_of(job.input))});
    }
    return places;
}

// What stands in the place of a job's files since it began.
struct NewFiles {
    bool has_new_output = false;
    bool has_new_backup = false;
};

EarlyEnd explain(const Job& job, const NewFiles& files, const WorkerEnd& end,
                 const WorkerLimits& limits) {
    const bool written = files.has_new_output;
    const Failure failure = explain_end(end, limits);
    const std::string_view of_output = written ? OUTPUT_IS_WRITTEN : "the output is as it was";
    const bool left_backup = files.has_new_backup && !written;
    return {Failure(failure.code(),
                    fmt::format("{}{}; {}", name_file(job, end), failure.what(), of_output),
                    left_backup ? explain_left_backup(job.input) : failure.hints()),
            written};
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
    const std::vector<PlacesBefore> before = look_at_places(jobs);
    const auto is_written = [&](std::size_t i) {
        return !work.dry_run && before[i].output.is_replaced();
    };
    const auto has_new_backup = [&](std::size_t i) {
        return work.backup && !work.dry_run && before[i].backup.is_replaced();
    };
    const WorkerCalls worker_calls = {
        .work = [&](std::size_t i,
                    const SendLine& send) { return work_in_child(jobs[i], work, send); },
        .take_line = [&](std::size_t i,
                         const std::string& line) { calls.take_news(i, decode_line(line)); },
        .take_end =
            [&](std::size_t i, const WorkerEnd& end) {
                sweep_beside(jobs[i].output);
                calls.take_end(
                    i, explain(jobs[i], {is_written(i), has_new_backup(i)}, end, workers.limits));
            },
        .tick = calls.tick};
    start_hdf5_library(); // once, not in each worker
    try {
        run_workers(jobs.size(), workers.at_once, workers.limits, worker_calls);
    } catch (const Interrupted&) {
        for (std::size_t i = 0; i < jobs.size(); ++i) {
            if (is_written(i)) {
                calls.take_written(i);
            }
        }
        throw;
    }
}

} // namespace talvora::host
