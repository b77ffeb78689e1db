// talvora-host recipe check R.yaml [FILE ...] [--set name=value]
#include "host/recipe.h"

#include "host/cli/commands.h"
#include "host/cli/files.h"
#include "host/recipe_places.h"
#include "host/recipe_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

// A recipe and what it is to be used on.
struct RecipeOptions {
    std::string recipe;
    std::vector<std::string> settings;
    std::vector<std::string> files;
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
        return read_recipe_file(options.recipe, options.settings, session.plugin());
    } catch (const RecipeError& error) {
        print_problems(session.console, error.problems());
        session.exit_code = ExitCode::Usage;
        return std::nullopt;
    }
}

ExitCode check_file(const Console& console, const Recipe& recipe, const std::string& file) {
    try {
        const auto tree = open_input(file);
        const auto problems = find_missing_places(recipe, *tree);
        print_problems(console, problems, file + ": ");
        return problems.empty() ? ExitCode::Done : ExitCode::Input;
    } catch (const TreeError& error) {
        console.error(error.what());
        return ExitCode::Input;
    }
}

void check_recipe(Session& session, const RecipeOptions& options) {
    const auto recipe = read_recipe_option(session, options);
    if (!recipe) {
        return;
    }
    for (const std::string& file : options.files) {
        session.exit_code = std::max(session.exit_code, check_file(session.console, *recipe, file));
    }
    if (session.exit_code == ExitCode::Done) {
        session.console.report_done(fmt::format("{}: {} {}, nothing wrong", options.recipe,
                                                recipe->steps.size(),
                                                recipe->steps.size() == 1 ? "step" : "steps"));
    }
}

void add_recipe_options(CLI::App& command, RecipeOptions& options) {
    command.add_option("RECIPE", options.recipe, "The recipe, a YAML file")->required();
    command.add_option("FILES", options.files, "The HDF5 files");
    command
        .add_option("--set", options.settings,
                    "NAME=VALUE: a variable of the recipe (repeatable; a repeated name makes a "
                    "list)")
        ->expected(1)
        ->allow_extra_args(false)
        ->take_all();
}

void add_check_command(CLI::App& recipe, Session& session) {
    const auto options = std::make_shared<RecipeOptions>();
    CLI::App* command = recipe.add_subcommand(
        "check", "Tells everything that is wrong with a recipe, and what files lack for it");
    add_recipe_options(*command, *options);
    command->callback([&session, options] { check_recipe(session, *options); });
}

} // namespace

void add_recipe_command(CLI::App& program, Session& session) {
    CLI::App* recipe = program.add_subcommand("recipe", "Named steps from a file");
    recipe->require_subcommand(1);
    add_check_command(*recipe, session);
}

} // namespace talvora::host
