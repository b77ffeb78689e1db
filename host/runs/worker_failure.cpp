#include "host/runs/worker_failure.h"

#include <fmt/format.h>

#include <csignal>
#include <cstring>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace talvora::host {
namespace {

std::string name_signal(int number) {
    const char* name = sigabbrev_np(number);
    return fmt::format("SIG{}", name != nullptr ? name : std::to_string(number));
}

std::string describe_signal(const WorkerEnd& end) {
    const int number = WTERMSIG(end.wait_status);
    const bool in_file = end.code == CodeAtWork::File;
    if (number == SIGKILL) {
        return fmt::format("its worker was killed ({}){}", name_signal(number),
                           in_file ? " while it read the file" : "");
    }
    return in_file ? fmt::format("it is damaged: the HDF5 library crashed on it ({})",
                                 name_signal(number))
                   : fmt::format("its worker crashed ({})", name_signal(number));
}

std::string describe_end(const WorkerEnd& end, const WorkerLimits& limits) {
    const auto seconds = limits.idle_time.count();
    switch (end.given_up) {
    case GivenUp::Idle:
        return fmt::format("it is damaged, or its disk does not answer: the HDF5 library made no "
                           "progress with it for {} s",
                           seconds);
    case GivenUp::Stopped:
        return fmt::format("its worker was stopped and did not go on for {} s", seconds);
    case GivenUp::Not:
        break;
    }
    return WIFSIGNALED(end.wait_status) ? describe_signal(end)
                                        : fmt::format("its worker broke off with exit code {}",
                                                      WEXITSTATUS(end.wait_status));
}

bool is_the_files(const WorkerEnd& end) {
    return end.code == CodeAtWork::File || (end.code == CodeAtWork::Own && !end.plugin_ran);
}

} // namespace

Failure explain_end(const WorkerEnd& end, const WorkerLimits& limits) {
    std::vector<std::string> hints;
    if (end.given_up == GivenUp::Idle) {
        hints.emplace_back("--idle-time SECONDS waits longer");
    }
    return {is_the_files(end) ? ExitCode::Input : ExitCode::Plugin, describe_end(end, limits),
            hints};
}

} // namespace talvora::host
