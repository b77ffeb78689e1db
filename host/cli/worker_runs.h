// Runs the steps of a recipe on files, each in a worker process of its own.
#pragma once

#include "host/cli/command_options.h"
#include "host/cli/session.h"
#include "host/recipes/recipe.h"
#include "host/runs/job_plan.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace talvora::host {

struct WorkerRunOptions {
    JobPlanOptions plan;
    std::size_t job_count = 1;
    std::string failed_to; // where the names of files that failed go
    // Read by the command besides its inputs: no result may take their place.
    std::vector<std::filesystem::path> also_read = {};
    std::vector<std::string> accept; // guards, as words of the command line
    bool dry_run = false;
    bool json = false;
};

// The guards that a command accepts in every step.
void add_accept_option(Command command, std::vector<std::string>& accept);
// The option for a list of further files.
void add_list_option(Command command, JobPlanOptions& plan);

// All that `run` and `recipe run` have in common but the words for the files.
void add_worker_run_options(Command command, WorkerRunOptions& options);

// Prints what comes of each file, in the order of the files whatever the number of jobs,
// and a table of those that failed; the session's exit code becomes the worst one. Throws
// a Failure before any file is touched when the options do not go together.
void run_jobs(Session& session, const Recipe& given, const WorkerRunOptions& options);

} // namespace talvora::host
