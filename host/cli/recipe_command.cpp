// talvora-host recipe run R.yaml FILE ... OUTPUT [--set name=value]
//                     check R.yaml [FILE ...] [--set name=value]
//                     extract FILE.h5 [--all]
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/cli/print_exception.h"
#include "host/cli/printed_files.h"
#include "host/cli/problem_report.h"
#include "host/cli/read_apart.h"
#include "host/cli/worker_runs.h"
#include "host/filters/step_aims.h"
#include "host/guards/accepted_guards.h"
#include "host/guards/guards.h"
#include "host/guards/recipe_guards.h"
#include "host/recipes/import_history.h"
#include "host/recipes/recipe.h"
#include "host/recipes/recipe_places.h"
#include "host/recipes/recipe_reader.h"
#include "host/recipes/recipe_writer.h"
#include "host/recipes/run_history.h"
#include "host/runs/input_files.h"
#include "host/runs/job_step.h"
#include "host/system/safe_write.h"
#include "host/text/plural.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

// A recipe and what it is to be used on.
struct RecipeOptions {
    std::string recipe;
    std::vector<std::string> settings;
    std::vector<std::string> files;
    WorkerRunOptions runs; // of these `check` takes the list of files and the guards alone
};

struct ExtractOptions {
    std::string file;
    std::string output = "-"; // standard output
    bool all = false;
    bool force = false;
};

void print_problems(const Console& console, const std::vector<ParameterProblem>& problems,
                    const std::string& where = "") {
    for (const ParameterProblem& problem : problems) {
        console.error(where + problem.text);
        if (!problem.hint.empty()) {
            console.hint(problem.hint);
        }
    }
}

// Nothing when it is wrong, which has been said then.
std::optional<Recipe> read_recipe_option(Session& session, const RecipeOptions& options) {
    try {
        return read_recipe(
            options.recipe, options.settings, session.plugin(),
            {.guards = list_guards(), .step = check_step, .found_keys = list_found_keys});
    } catch (const RecipeError& error) {
        print_problems(session.console, error.problems());
        session.console.failure_line(join_problems(error.problems()));
        session.exit_code = ExitCode::Usage;
        return std::nullopt;
    }
}

// What is there to work on, and whether a guard would refuse what comes of it.
struct FileCheck {
    std::vector<ParameterProblem> problems;
    std::vector<ParameterProblem> lacking; // what units would refuse
    std::vector<GuardFinding> findings;

    ExitCode exit_code() const {
        if (!problems.empty()) {
            return ExitCode::Input;
        }
        return lacking.empty() && std::ranges::all_of(findings, &GuardFinding::accepted)
                   ? ExitCode::Done
                   : ExitCode::UnitFailed;
    }
};

FileCheck look_at_file(const Recipe& recipe, const std::string& file) {
    const auto tree = open_input(file);
    return {check_places(recipe, *tree), find_lacking_rates(recipe, *tree, file),
            find_guarded(recipe, *tree, file)};
}

void print_findings(const Console& console, std::span<const GuardFinding> findings,
                    const std::string& file) {
    tell_findings(findings, [&](const JobMessage& message) {
        console.print(message.level,
                      message.step ? fmt::format("{}: {}: {}", file, *message.step, message.text)
                                   : message.text);
    });
}

void check_file(Session& session, const Recipe& recipe, const std::string& file) {
    const FileCheck check = read_input(file, [&] { return look_at_file(recipe, file); });
    print_problems(session.console, check.problems, file + ": ");
    print_problems(session.console, check.lacking, file + ": ");
    print_findings(session.console, check.findings, file);
    session.exit_code = check.exit_code();
}

// Whatever is wrong with one file, the others are looked at too.
void check_files(Session& session, const Recipe& recipe, const std::vector<std::string>& files) {
    for (const std::string& file : files) {
        try {
            read_apart(session, [&] { check_file(session, recipe, file); });
        } catch (const std::exception&) {
            session.exit_code = std::max(session.exit_code, print_exception(session.console));
        }
    }
}

void check_recipe(Session& session, const RecipeOptions& options) {
    const auto recipe = read_recipe_option(session, options);
    if (!recipe) {
        return;
    }
    JobPlanOptions plan = options.runs.plan;
    plan.files = options.files;
    check_files(session, accept_in_all_steps(*recipe, options.runs.accept), gather_files(plan));
    if (session.exit_code == ExitCode::Done) {
        session.console.done_line(fmt::format("{}: {}, nothing wrong", options.recipe,
                                              count_things(recipe->steps.size(), "step")));
    }
}

void run_recipe(Session& session, RecipeOptions& options) {
    const auto recipe = read_recipe_option(session, options);
    if (recipe) {
        refuse_stray_words(options.files, "a variable is set by --set NAME=VALUE");
        options.runs.plan.files = options.files;
        options.runs.also_read.push_back(options.recipe);
        run_jobs(session, *recipe, options.runs);
    }
}

// A recipe has no step for it: it begins with files of data sets.
std::string comment_imports(const std::string& file) {
    std::string comments;
    for (const HistoryRecord& record :
         read_input(file, [&] { return read_imports(*open_input(file), file); })) {
        comments += fmt::format("# imported from {}:\n#   {}\n", describe_import_input(record),
                                describe_import_command(record));
    }
    return comments;
}

void extract_from_file(Session& session, const ExtractOptions& options) {
    refuse_same_file(options.file, options.output);
    const std::vector<HistoryRecord> history = read_input(
        options.file, [&] { return read_history(*open_input(options.file), options.file); });
    if (history.empty()) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: no history to take a recipe from", options.file));
    }
    const auto records = options.all ? std::span<const HistoryRecord>(history) : last_run(history);
    const std::string text =
        comment_imports(options.file) + format_recipe(extract_recipe(records, session.plugin()));
    write_text_file(session.console, options.output,
                    {.replace = options.force, .sources = {options.file}},
                    [&](const TextSink& send) { send(text); });
}

void add_recipe_options(Command command, RecipeOptions& options) {
    command.add_option("RECIPE", options.recipe, "The recipe, a YAML file").path().required();
    command.add_option("FILES", options.files,
                       "The HDF5 files; a pattern in quotes stands for all that it matches");
    command
        .add_option("--set", options.settings,
                    "NAME=VALUE: a variable of the recipe (repeatable; a repeated name makes a "
                    "list)")
        .value_name("NAME=VALUE")
        .repeatable_by_name();
}

void add_check_command(Command recipe, Session& session) {
    const auto options = std::make_shared<RecipeOptions>();
    Command command = recipe.add_subcommand(
        "check", "Tells everything that is wrong with a recipe, and what files lack for it");
    add_recipe_options(command, *options);
    add_list_option(command, options->runs.plan);
    add_accept_option(command, options->runs.accept);
    command.on_run([&session, options] { check_recipe(session, *options); });
}

void add_recipe_run_command(Command recipe, Session& session) {
    const auto options = std::make_shared<RecipeOptions>();
    Command command = recipe.add_subcommand("run", "Runs the steps of a recipe on files");
    add_recipe_options(command, *options);
    add_worker_run_options(command, options->runs);
    command.on_run([&session, options] { run_recipe(session, *options); });
}

void add_extract_command(Command recipe, Session& session) {
    const auto options = std::make_shared<ExtractOptions>();
    Command command =
        recipe.add_subcommand("extract", "Writes the recipe that made a file, from its history");
    command.add_option("FILE.h5", options->file, "The file").required();
    command
        .add_option("-o,--output", options->output, "Where the recipe goes (else standard output)")
        .value_name("FILE")
        .path();
    command.add_flag("--all", options->all, "The steps of all runs, not of the last one alone");
    command.add_flag("--force", options->force, "Replace an existing output");
    command.on_run([&session, options] {
        read_apart(
            session, [&] { extract_from_file(session, *options); },
            name_text_file(options->output));
    });
}

} // namespace

void add_recipe_command(Command program, Session& session) {
    Command recipe = program.add_subcommand("recipe", "Named steps from a file");
    add_examples(recipe, {{"Is anything wrong with a recipe, does the file have what it asks for",
                           "talvora-host recipe check clean.yaml walk.h5"},
                          {"Its steps, with another value for a variable",
                           "talvora-host recipe run clean.yaml walk.h5 -o clean.h5 --set cutoff=8"},
                          {"The recipe that made a file",
                           "talvora-host recipe extract clean.h5 -o again.yaml"}});
    recipe.require_subcommand();
    add_recipe_run_command(recipe, session);
    add_check_command(recipe, session);
    add_extract_command(recipe, session);
}

} // namespace talvora::host
