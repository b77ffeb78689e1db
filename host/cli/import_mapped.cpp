// talvora-host import FILE.h5[::GLOB] -o FILE.h5 --map NAME|FILE.yaml | --time-axis N --rate HZ
#include "host/cli/import_command.h"
#include "host/cli/printed_files.h"
#include "host/cli/problem_report.h"
#include "host/cli/read_apart.h"
#include "host/maps/map_reader.h"
#include "host/maps/mapped_import.h"
#include "host/recipes/json_text.h"
#include "host/recipes/recipe_problems.h"
#include "host/runs/input_files.h"
#include "host/tables/row_placement.h"
#include "host/text/join_texts.h"
#include "host/text/plural.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;

// A map that comes with the program is part of it.
bool is_map_file(const ImportCommand& command) {
    return command.map && !find_shipped_map(*command.map);
}

std::string file_name_of(const std::string& path) {
    return fs::path(path).filename().string();
}

std::vector<std::string> list_mapped_arguments(const ImportCommand& command) {
    OptionWords words;
    words.add("--group", command.options.group);
    words.add("--map", is_map_file(command) ? file_name_of(*command.map) : command.map);
    words.add_all("--variable", command.variables);
    words.add("--time-axis", command.time_axis);
    words.add("--rate", command.options.sample_rate);
    words.add("--grid", command.grid);
    words.add("--max-gap", command.max_gap);
    return words.take();
}

// What is wrong with a map is told like what is wrong with a recipe, all at once.
ImportMap read_map(const ImportCommand& command) {
    if (!command.map) {
        return make_array_map(static_cast<int>(*command.time_axis));
    }
    try {
        return read_import_map(*command.map, command.variables);
    } catch (const RecipeError& error) {
        throw join_problems(error.problems());
    }
}

HistoryRecord make_record(const ImportCommand& command, const TreePlace& place) {
    refuse_invalid_utf8(place.glob);
    InputIdentity input = identify_input(place.file);
    if (!place.glob.empty()) {
        input.name += "::" + place.glob;
    }
    const auto map = is_map_file(command) ? std::optional(identify_input(*command.map))
                                          : std::optional<InputIdentity>();
    return make_import_record(TALVORA_VERSION, input, list_mapped_arguments(command), map);
}

std::string describe_result(const MappedReport& report, const std::string& output) {
    std::vector<std::string> sets;
    std::ranges::transform(report.sets, std::back_inserter(sets), [](const MappedSet& set) {
        return fmt::format("{} ({} at {:.6g} Hz)", set.path,
                           count_things(set.sample_count, "sample"), set.sample_rate);
    });
    return fmt::format("{}: {}", output, list_some(sets));
}

struct MappedWork {
    const ImportCommand& command;
    const ImportMap& map;
    TreePlace place;
    MapChoices choices;
};

MappedReport build_file(const MappedWork& work, PendingFile& pending) {
    const std::string input = work.place.file.string();
    const UnchangedInput unchanged(work.place.file);
    const auto source = open_input(work.place.file);
    MappedReport report;
    build_import(work.command, {.input = input, .output = work.command.output}, pending,
                 [&](DataTree& tree) {
                     report = import_mapped(*source, work.map, work.choices, tree, input);
                     HistoryRecord record = make_record(work.command, work.place);
                     unchanged.check();
                     return record;
                 });
    return report;
}

void make_file(const Console& console, const MappedWork& work, const WriteOptions& options) {
    PendingFile pending(work.command.output, options);
    const MappedReport report = build_file(work, pending);
    publish(console, pending);
    print_import_report(report, console);
    console.done_line(describe_result(report, work.command.output));
}

void try_import(const Console& console, const MappedWork& work) {
    PendingFile trial;
    print_import_report(build_file(work, trial), console);
    console.info(fmt::format("dry run: {} was not written", work.command.output));
}

std::vector<fs::path> list_inputs(const ImportCommand& command, const TreePlace& place) {
    std::vector<fs::path> inputs = {place.file};
    if (is_map_file(command)) {
        inputs.emplace_back(*command.map);
    }
    return inputs;
}

} // namespace

void import_mapped_file(Session& session, const ImportCommand& command) {
    const TreePlace place = parse_tree_place(command.input);
    const MapChoices choices{.group = command.options.group == "/" ? "" : command.options.group,
                             .glob = place.glob,
                             .sample_rate = command.options.sample_rate,
                             .placement = command.options.placement,
                             .max_gap_samples = command.options.max_gap_samples};
    refuse_bad_grid({.placement = choices.placement,
                     .sample_rate = choices.sample_rate,
                     .max_gap_samples = choices.max_gap_samples});
    const ImportMap map = read_map(command);
    read_apart(
        session,
        [&] {
            const WriteOptions options = check_import_files(command, list_inputs(command, place));
            const MappedWork work{command, map, place, choices};
            if (command.dry_run) {
                try_import(session.console, work);
            } else {
                make_file(session.console, work, options);
            }
        },
        command.output);
}

} // namespace talvora::host
