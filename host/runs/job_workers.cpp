#include "host/runs/job_workers.h"

#include "host/runs/worker_pool.h"
#include "host/system/safe_write.h"

#include <fmt/format.h>

#include <csignal>
#include <cstring>
#include <sys/wait.h>

namespace talvora::host {
namespace {

std::string describe_end(int wait_status) {
    if (WIFSIGNALED(wait_status)) {
        const int number = WTERMSIG(wait_status);
        const char* name = sigabbrev_np(number);
        return fmt::format("its worker {} (SIG{}); the output is as it was, or complete",
                           number == SIGKILL ? "was killed" : "crashed",
                           name != nullptr ? name : std::to_string(number));
    }
    return fmt::format(
        "its worker broke off with exit code {}; the output is as it was, or complete",
        WEXITSTATUS(wait_status));
}

void work_in_child(const Job& job, const JobWork& work, const SendLine& send) {
    const JobResult result = do_job(
        job, work, [&](const JobMessage& message) { send(encode_line(message)); },
        [&](std::uint64_t count) { send(encode_line(SampleCount{count})); });
    send(encode_line(result));
}

} // namespace

void do_jobs(std::span<const Job> jobs, const JobWork& work, std::size_t at_once,
             const JobCalls& calls) {
    run_workers(
        jobs.size(), at_once,
        {.work = [&](std::size_t i, const SendLine& send) { work_in_child(jobs[i], work, send); },
         .take_line = [&](std::size_t i,
                          const std::string& line) { calls.take_news(i, decode_line(line)); },
         .take_end =
             [&](std::size_t i, int wait_status) {
                 sweep_beside(jobs[i].output);
                 calls.take_end(i, describe_end(wait_status));
             },
         .tick = calls.tick});
}

} // namespace talvora::host
