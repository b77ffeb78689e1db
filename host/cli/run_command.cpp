// talvora-host run UNIT [Key=Value ...] FILE ... OUTPUT
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/cli/problem_report.h"
#include "host/cli/worker_runs.h"
#include "host/filters/step_aims.h"
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
    StepAims aims;
    WorkerRunOptions runs;
};

// What the aims find need not be given.
std::vector<ParameterSignature> list_signatures(const Unit& unit, const StepAims& aims) {
    const std::vector<std::string> found = list_found_keys(aims);
    std::vector<ParameterSignature> signatures = declare_unit(unit);
    for (ParameterSignature& signature : signatures) {
        signature.required =
            signature.required && std::ranges::find(found, signature.key) == found.end();
    }
    return signatures;
}

// Throws ParameterError.
ParameterValues read_checked(const Unit& unit, const std::vector<std::string>& words,
                             const StepAims& aims) {
    ParameterValues values = read_parameters(list_signatures(unit, aims), words);
    if (auto problems = check_step(unit, values, aims); !problems.empty()) {
        throw ParameterError(std::move(problems));
    }
    return values;
}

std::optional<ParameterValues> read_values(const Console& console, const Unit& unit,
                                           const std::vector<std::string>& words,
                                           const StepAims& aims) {
    try {
        return read_checked(unit, words, aims);
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
    const auto values = read_values(session.console, unit, words, options.aims);
    if (!values) {
        session.exit_code = ExitCode::Usage;
        return;
    }
    refuse_stray_words(
        options.runs.plan.files,
        fmt::format("a parameter is Key=Value, as in talvora-host describe {}", short_name(unit)));
    run_jobs(session,
             {.description = {}, .steps = {{short_name(unit), &unit, *values, {}, options.aims}}},
             options.runs);
}

void add_aim_options(Command command, StepAims& aims) {
    command
        .add_option("--edge", aims.edges,
                    "In the place of CutoffFrequency and BandWidth: where the filter is to be 3 dB "
                    "down, over both passes, at the rate of the sets; twice for a band")
        .value_name("HZ")
        .repeatable_by_name();
    command
        .add_option("--to-rate", aims.to_rate,
                    "In the place of HintGroup and HintSet: the rate that sets are brought down to")
        .value_name("HZ");
    command.add_flag("--set-by-set", aims.set_by_set,
                     "Run the unit for each of the chosen sets by itself: for sets of several "
                     "rates");
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
    add_aim_options(command, options->aims);
    add_worker_run_options(command, options->runs);
    add_examples(
        command,
        {{"One file to another",
          "talvora-host run apply-set-rectify SourceSets=Imu/Rate walk.h5 -o rectified.h5"},
         {"A filter that is 3 dB down at 20 and 450 Hz, whatever the rate is",
          "talvora-host run apply-set-butterworth SourceGroup=Emg Bandform=ZeroLagBandPass Order=4 "
          "--edge 20 --edge 450 emg.h5 -o filtered.h5"},
         {"A folder of files, four at a time",
          "talvora-host run apply-set-fill-gap SourceGroup=Imu MaxGapLength=10 *.h5 --out-dir "
          "filled --jobs 4"},
         {"In place, what it replaces kept",
          "talvora-host run apply-set-opposite SourceSets=Imu/Rate walk.h5 --in-place --backup"}});
    command.on_run([&session, options] { run_unit_on_files(session, *options); });
}

} // namespace talvora::host
