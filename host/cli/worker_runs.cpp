#include "host/cli/worker_runs.h"

#include "host/cli/printed_files.h"
#include "host/cli/run_report.h"
#include "host/guards/accepted_guards.h"
#include "host/runs/job_work.h"
#include "host/runs/job_workers.h"
#include "host/runs/progress.h"
#include "host/system/pending_cleanup.h"
#include "host/system/safe_write.h"
#include "host/system/standard_streams.h"
#include "host/text/utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <variant>
#include <vector>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;

// What the parent does with what its workers send.
class WorkerRuns {
  public:
    WorkerRuns(const Console& console, std::span<const Job> jobs, RunReportOptions options)
        : jobs_(jobs), report_(console, jobs, std::move(options)),
          shows_progress_(!console.quiet()),
          progress_(isatty(STDERR_FILENO) != 0, jobs.size(), Progress::Clock::now()),
          shares_(jobs.size()) {}

    // False when the work was interrupted.
    bool run(const JobWork& work, const JobWorkers& workers) {
        const bool done = try_to_run(work, workers);
        print(progress_.clear());
        return done;
    }

    const RunReport& report() const { return report_; }

  private:
    bool try_to_run(const JobWork& work, const JobWorkers& workers) {
        try {
            do_jobs(
                jobs_, work, workers,
                {.take_news = [&](std::size_t i, const WorkerNews& news) { take_news(i, news); },
                 .take_end = [&](std::size_t i, const EarlyEnd& early) { finish(i, early); },
                 .take_written = [&](std::size_t i) { report_.set_written(i); },
                 .tick = [&] { tick(); }});
            return true;
        } catch (const Interrupted&) {
            note_file_in_place(); // workers may have put any
            return false;
        }
    }

    void take_news(std::size_t index, const WorkerNews& news) {
        std::visit([&](const auto& kind) { take(index, kind); }, news);
    }

    void take(std::size_t index, const JobMessage& message) {
        print(progress_.clear());
        report_.add_message(index, message);
    }

    void take(std::size_t index, const SampleCount& samples) {
        state_.sample_count += samples.count;
        state_.begun_share += samples.share - std::exchange(shares_[index], samples.share);
    }

    void take(std::size_t index, const JobResult& result) { report_.set_result(index, result); }

    void finish(std::size_t index, const EarlyEnd& end) {
        print(progress_.clear());
        report_.finish(index, end);
        ++state_.file_count;
        state_.begun_share -= std::exchange(shares_[index], 0.0);
    }

    void tick() {
        if (shows_progress_) {
            print(progress_.update(state_, Progress::Clock::now()));
        }
    }

    static void print(const std::string& text) {
        if (!text.empty()) {
            std::fflush(stdout); // what was printed before comes before
            write_to_standard_error(text);
        }
    }

    std::span<const Job> jobs_;
    RunReport report_;
    bool shows_progress_;
    Progress progress_;
    ProgressState state_;
    std::vector<double> shares_; // of each file in work, what is done of it
};

bool is_list_of(const fs::path& file, std::span<const Job> jobs) {
    std::error_code ignored;
    if (!fs::is_regular_file(file, ignored)) {
        return false;
    }
    std::set<std::string> inputs;
    for (const Job& job : jobs) {
        inputs.insert(job.input.string());
    }
    std::ifstream list(file);
    for (std::string line; std::getline(list, line);) {
        if (!inputs.contains(line)) {
            return false;
        }
    }
    return list.eof();
}

// What reads a list takes these away.
bool is_changed_in_lists(std::string_view name) {
    return name.find('\n') != std::string_view::npos || name.ends_with('\r') ||
           skip_byte_order_mark(name) != name;
}

// A list of an earlier run of the same files is replaced, nothing else.
void check_list(const WorkerRunOptions& options, std::span<const Job> jobs) {
    for (const Job& job : jobs) {
        if (is_changed_in_lists(job.input.string())) {
            throw Failure(ExitCode::Usage,
                          fmt::format("'{}': a name with a line end, or a byte order mark in "
                                      "front, cannot stand in the list --failed-to '{}'",
                                      job.input.string(), options.failed_to));
        }
    }
    const bool replace = options.plan.force || is_list_of(options.failed_to, jobs);
    check_destination(options.failed_to, {.replace = replace});
}

void write_list(const Console& console, const std::string& file,
                const std::vector<std::string>& lines) {
    write_text_file(console, file, {.replace = true}, [&](const TextSink& send) {
        for (const std::string& line : lines) {
            send(line + '\n');
        }
    });
}

std::string name_work(const Recipe& recipe) {
    return recipe.steps.size() == 1 ? recipe.steps.front().name
                                    : fmt::format("{} steps", recipe.steps.size());
}

// What the command reads stays, and the list takes no result's place.
void refuse_mixed_up_files(std::span<const Job> jobs, const fs::path& plugin,
                           const WorkerRunOptions& options) {
    std::vector<fs::path> sources = options.also_read;
    sources.push_back(plugin);
    if (!options.plan.files_from.empty() && options.plan.files_from != "-") {
        for (const Job& job : jobs) {
            refuse_same_file(options.plan.files_from, job.output);
        }
    }
    for (const fs::path& source : sources) {
        refuse_same_file(source, options.failed_to);
    }
    for (const Job& job : jobs) {
        refuse_same_file(job.input, options.failed_to);
        refuse_same_file(job.output, options.failed_to);
        if (options.plan.backup) {
            refuse_same_file(backup_of(job.input), options.failed_to);
        }
        for (const fs::path& source : sources) {
            refuse_same_file(source, job.output);
        }
    }
}

JobWork make_work(Session& session, const Recipe& recipe, const WorkerRunOptions& options) {
    return {.recipe = recipe,
            .origin = {.time = make_timestamp(),
                       .host_version = TALVORA_VERSION,
                       .plugin = identify_plugin(session.plugin()),
                       .input = {}},
            .dry_run = options.dry_run,
            .backup = options.plan.backup,
            .replace_backup = options.plan.force,
            .resume = options.plan.resume,
            .memory_bound = session.memory_mib << 20U};
}

// The folder for results, and those above it, where they are missing: made with the first result,
// they go again when there is none.
class NewFolders {
  public:
    explicit NewFolders(const fs::path& folder) {
        std::error_code ignored;
        for (fs::path missing = folder; !missing.empty() && !fs::exists(missing, ignored);
             missing = missing.parent_path()) {
            missing_.push_back(missing);
        }
    }

    void remove_empty() const {
        for (const fs::path& folder : missing_) {
            rmdir(folder.c_str());
        }
    }

  private:
    std::vector<fs::path> missing_; // the innermost first
};

} // namespace

void add_accept_option(Command command, std::vector<std::string>& accept) {
    command
        .add_option("--accept", accept,
                    "Guards that are not to refuse the result, by their names (docs/guards.md)")
        .value_name("NAME[,NAME]")
        .repeatable_by_name();
}

void add_list_option(Command command, JobPlanOptions& plan) {
    command
        .add_option("--files-from", plan.files_from,
                    "A list of further files, one per line (- for standard input)")
        .value_name("LIST")
        .path();
}

void add_worker_run_options(Command command, WorkerRunOptions& options) {
    JobPlanOptions& plan = options.plan;
    add_list_option(command, plan);
    command.add_option("-o,--output", plan.output, "Where the result of one file goes")
        .value_name("FILE")
        .path();
    command
        .add_option("--out-dir", plan.out_dir,
                    "The folder where results go, named as their inputs; made when missing")
        .value_name("FOLDER")
        .path();
    command.add_flag("--in-place", plan.in_place, "Replace each input by its result");
    command.add_flag("--backup", plan.backup, "Keep what it replaces as FILE.bak");
    add_accept_option(command, options.accept);
    command.add_flag("-n,--dry-run", options.dry_run, "Do all but writing the result");
    command.add_flag("--force", plan.force, "Replace an existing output");
    command.add_option("--jobs", options.job_count, "How many files to work on at a time")
        .value_name("N")
        .within(1, MAX_WORKERS)
        .show_default();
    command.add_flag("--resume", plan.resume,
                     "Leave alone what the same steps, plug-in and input have made before");
    command
        .add_option("--shard", plan.shard,
                    "i/n: every n-th file from the i-th on, for a job of an array")
        .value_name("I/N");
    command
        .add_option("--failed-to", options.failed_to,
                    "Write a list of the files that failed, for --files-from")
        .value_name("LIST")
        .path();
    command.add_flag("--json", options.json, "One JSON document per file and line");
}

void run_jobs(Session& session, const Recipe& given, const WorkerRunOptions& options) {
    const Recipe recipe = accept_in_all_steps(given, options.accept);
    const std::vector<Job> jobs = plan_jobs(options.plan);
    const bool lists_failed = !options.failed_to.empty() && !options.dry_run;
    std::optional<NotedInterruption> until_listed;
    if (lists_failed) { // all of them, where none is begun
        until_listed.emplace();
    }
    refuse_mixed_up_files(jobs, session.plugin().file(), options);
    if (!options.failed_to.empty()) {
        check_list(options, jobs);
    }
    const JobWork work = make_work(session, recipe, options);
    WorkerRuns runs(
        session.console, jobs,
        {.worked_by = name_work(recipe), .dry_run = options.dry_run, .json = options.json});
    const NewFolders folders(options.plan.out_dir);
    const bool done = runs.run(work, {options.job_count, session.limits});
    folders.remove_empty();
    const RunReport& report = runs.report();
    if (done) {
        report.print_failures();
    }
    if (lists_failed) {
        write_list(session.console, options.failed_to, report.failed_files());
    }
    end_if_interrupted();
    session.exit_code = std::max(session.exit_code, report.worst());
}

} // namespace talvora::host
