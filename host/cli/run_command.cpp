// talvora-host run UNIT [Key=Value ...] FILE ... OUTPUT
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/cli/problem_report.h"
#include "host/cli/worker_runs.h"
#include "host/filters/known_units.h"
#include "host/interface/parameters.h"
#include "host/interface/unit_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace talvora::host {
namespace {

struct RunOptions {
    std::string unit;
    std::vector<std::string> words; // Key=Value and files, in any order
    WorkerRunOptions runs;
};

// Throws ParameterError.
ParameterValues read_checked(const Unit& unit, const std::vector<std::string>& words) {
    ParameterValues values = read_parameters(declare_unit(unit), words);
    if (auto problems = check_values(unit, values); !problems.empty()) {
        throw ParameterError(std::move(problems));
    }
    return values;
}

std::optional<ParameterValues> read_values(const Console& console, const Unit& unit,
                                           const std::vector<std::string>& words) {
    try {
        return read_checked(unit, words);
    } catch (const ParameterError& error) {
        const std::string help = fmt::format("talvora-host describe {}", short_name(unit));
        for (const ParameterProblem& problem : error.problems()) {
            console.error(fmt::format("{}: {}", short_name(unit), problem.text));
            console.hint(problem.hint.empty() ? help : problem.hint + "  " + help);
        }
        console.failure_line(join_problems(error.problems()));
        return std::nullopt;
    }
}

void run_unit_on_files(Session& session, RunOptions& options) {
    std::vector<std::string>& words = options.words;
    const auto files_at = std::stable_partition(words.begin(), words.end(), is_parameter_word);
    options.runs.plan.files.assign(files_at, words.end());
    words.erase(files_at, words.end());

    const Unit& unit = session.find_unit(options.unit);
    const auto values = read_values(session.console, unit, words);
    if (!values) {
        session.exit_code = ExitCode::Usage;
        return;
    }
    refuse_stray_words(
        options.runs.plan.files,
        fmt::format("a parameter is Key=Value, as in talvora-host describe {}", short_name(unit)));
    run_jobs(session, {.description = {}, .steps = {{short_name(unit), &unit, *values}}},
             options.runs);
}

} // namespace

void add_run_command(Command program, Session& session) {
    const auto options = std::make_shared<RunOptions>();
    Command command = program.add_subcommand("run", "Runs a unit on files");
    command.add_option("UNIT", options->unit, "Its identifier, or what follows the last dot")
        .required();
    command.add_option("WORDS", options->words,
                       "Key=Value parameters (a repeated key builds a list) and files; a file "
                       "with '=' in its name is given as ./NAME");
    add_worker_run_options(command, options->runs);
    add_examples(
        command,
        {{"One file to another",
          "talvora-host run apply-set-rectify SourceSets=Imu/Rate walk.h5 -o rectified.h5"},
         {"A folder of files, four at a time",
          "talvora-host run apply-set-fill-gap SourceGroup=Imu MaxGapLength=10 *.h5 --out-dir "
          "filled --jobs 4"},
         {"In place, what it replaces kept",
          "talvora-host run apply-set-opposite SourceSets=Imu/Rate walk.h5 --in-place --backup"}});
    command.on_run([&session, options] { run_unit_on_files(session, *options); });
}

} // namespace talvora::host
