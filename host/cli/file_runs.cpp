#include "host/cli/file_runs.h"

#include "host/cli/file_work.h"
#include "host/cli/run_report.h"
#include "host/cli/workers.h"
#include "host/pending_cleanup.h"
#include "host/safe_write.h"

#include <fmt/format.h>

#include <cstring>
#include <fstream>
#include <sys/wait.h>
#include <vector>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

std::string describe_end(int wait_status) {
    if (WIFSIGNALED(wait_status)) {
        const int number = WTERMSIG(wait_status);
        const char* name = sigabbrev_np(number);
        return fmt::format("its worker {} (SIG{}); the file in work is as it was",
                           number == SIGKILL ? "was killed" : "crashed",
                           name != nullptr ? name : std::to_string(number));
    }
    return fmt::format("its worker broke off with exit code {}; the file in work is as it was",
                       WEXITSTATUS(wait_status));
}

// One JSON document per line: a message, or the result.
std::string pack(const char* kind, const Json& json) {
    return Json{{kind, json}}.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void unpack(const std::string& line, std::size_t index, RunReport& report) {
    const Json json = Json::parse(line);
    if (json.contains("message")) {
        report.add_message(index, json.at("message"));
    } else {
        report.set_result(index, json.at("result"));
    }
}

void work_in_child(const FileJob& job, const FileWork& work, const SendLine& send) {
    const Json result =
        work_on_file(job, work, [&](const Json& message) { send(pack("message", message)); });
    send(pack("result", result));
}

void write_list(const fs::path& file, const std::vector<std::string>& lines) {
    PendingFile pending(file, {.replace = true});
    std::ofstream list(pending.path());
    for (const std::string& line : lines) {
        list << line << '\n';
    }
    list.close();
    if (!list) {
        throw Failure(ExitCode::Output, file.string() + ": cannot be written");
    }
    pending.publish();
}

std::string name_work(const Recipe& recipe) {
    return recipe.steps.size() == 1 ? recipe.steps.front().name
                                    : fmt::format("{} steps", recipe.steps.size());
}

} // namespace

void add_file_run_options(CLI::App& command, FileRunOptions& options) {
    FilePlanOptions& plan = options.plan;
    command.add_option("--files-from", plan.files_from,
                       "A list of further files, one per line (- for standard input)");
    command.add_option("-o,--output", plan.output, "Where the result of one file goes");
    command.add_option("--out-dir", plan.out_dir,
                       "The folder where results go, named as their inputs");
    command.add_flag("--in-place", plan.in_place, "Replace each input by its result");
    command.add_flag("--backup", plan.backup, "Keep what it replaces as FILE.bak");
    command.add_flag("-n,--dry-run", options.dry_run, "Do all but writing the result");
    command.add_flag("--force", plan.force, "Replace an existing output");
    command.add_option("--jobs", options.job_count, "How many files to work on at a time")
        ->check(CLI::Range(1, MAX_WORKERS))
        ->capture_default_str();
    command.add_flag("--resume", plan.resume,
                     "Leave alone what the same steps, plug-in and input have made before");
    command.add_option("--shard", plan.shard,
                       "i/n: every n-th file from the i-th on, for a job of an array");
    command.add_option("--failed-to", options.failed_to,
                       "Write a list of the files that failed, for --files-from");
    command.add_flag("--json", options.json, "One JSON document per file and line");
}

void run_on_files(Session& session, const Recipe& recipe, const FileRunOptions& options) {
    const std::vector<FileJob> jobs = plan_files(options.plan);
    const FileWork work{.recipe = recipe,
                        .origin = {.time = tell_time(),
                                   .host_version = TALVORA_VERSION,
                                   .plugin = identify_plugin(session.plugin()),
                                   .input = {}},
                        .dry_run = options.dry_run,
                        .backup = options.plan.backup,
                        .replace_backup = options.plan.force,
                        .resume = options.plan.resume};
    RunReport report(session.console, jobs,
                     {.worked_by = name_work(recipe),
                      .dry_run = options.dry_run,
                      .json = options.json});
    run_workers(jobs.size(), options.job_count,
                {.work = [&](std::size_t i, const SendLine& send) {
                     work_in_child(jobs[i], work, send);
                 },
                 .take_line = [&](std::size_t i, const std::string& line) {
                     unpack(line, i, report);
                 },
                 .take_end = [&](std::size_t i, int wait_status) {
                     sweep_beside(jobs[i].output);
                     report.finish(i, describe_end(wait_status));
                 },
                 .tick = [] {}});
    report.print_failures();
    if (!options.failed_to.empty()) {
        write_list(options.failed_to, report.failed_files());
    }
    session.exit_code = std::max(session.exit_code, report.worst());
}

} // namespace talvora::host
