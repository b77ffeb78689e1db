#include "host/cli/read_apart.h"

#include "host/cli/print_exception.h"
#include "host/cli/printed_files.h"
#include "host/runs/output_files.h"
#include "host/runs/worker_failure.h"
#include "host/runs/worker_pool.h"
#include "host/system/safe_write.h"
#include "host/system/work_state.h"
#include "host/system/writer_lock.h"

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <string_view>
#include <sys/wait.h>

namespace talvora::host {
namespace {

std::string name_file(std::string_view file) {
    return file.empty() ? "" : fmt::format("{}: ", file);
}

ExitCode do_work(Session& session, const std::function<void()>& work) {
    session.exit_code = ExitCode::Done;
    try {
        work();
        finish_printing();
        return session.exit_code;
    } catch (const std::bad_alloc&) {
        return print_exception(session.console, {.input = std::string(last_file())});
    } catch (const std::exception&) {
        return print_exception(session.console);
    }
}

// A worker that takes a signal ends with the exit code of that. Where nobody reads the results any
// more, there is nothing to tell.
bool broke_off(const WorkerEnd& end) {
    constexpr int OF_SIGNALS = 128;
    return !WIFEXITED(end.wait_status) || (WEXITSTATUS(end.wait_status) > OF_SIGNALS &&
                                           WEXITSTATUS(end.wait_status) != OF_SIGNALS + SIGPIPE);
}

// The unfinished file is gone: what it was to be is told of.
const std::string& find_file_at_fault(const WorkerEnd& end, const std::string& made) {
    return end.file.empty() || is_temporary_name(end.file) ? made : end.file;
}

Failure explain(const WorkerEnd& end, const WorkerLimits& limits, const std::string& file) {
    const Failure failure = explain_end(end, limits);
    return {failure.code(), name_file(file) + failure.what(), failure.hints()};
}

// Nothing is wrong with what was read: what is missing is at most what was to be told.
Failure explain_written(const WorkerEnd& end, const WorkerLimits& limits, const std::string& made) {
    return {ExitCode::Output, fmt::format("{}{}; {}", name_file(made),
                                          explain_end(end, limits).what(), OUTPUT_IS_WRITTEN)};
}

} // namespace

void read_apart(Session& session, const std::function<void()>& work, const std::string& made) {
    const OutputBefore before(made);
    WorkerEnd end;
    run_workers(1, 1, session.limits,
                {.work =
                     [&](std::size_t, const SendLine&) {
                         const ExitCode code = do_work(session, work);
                         std::fflush(nullptr);
                         return static_cast<int>(code);
                     },
                 .take_line = [](std::size_t, const std::string&) {},
                 .take_end = [&](std::size_t, const WorkerEnd& how) { end = how; },
                 .tick = [] {}});
    if (broke_off(end)) {
        if (!made.empty()) {
            sweep_beside(made);
        }
        throw before.is_replaced() ? explain_written(end, session.limits, made)
                                   : explain(end, session.limits, find_file_at_fault(end, made));
    }
    session.exit_code = std::max(session.exit_code, ExitCode{WEXITSTATUS(end.wait_status)});
}

} // namespace talvora::host
