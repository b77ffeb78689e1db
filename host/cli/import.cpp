// talvora-host import FILE.csv -o FILE.h5 [--append] [--group G] [--set ...]
//                                         [--rate HZ | --time COLUMN] [--grid nearest|linear]
// talvora-host import FILE.h5[::GLOB] -o FILE.h5 --map NAME|FILE.yaml | --time-axis N --rate HZ
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/cli/import_command.h"
#include "host/cli/printed_files.h"
#include "host/cli/read_apart.h"
#include "host/recipes/import_history.h"
#include "host/runs/input_files.h"
#include "host/runs/output_files.h"
#include "host/system/content_hash.h"
#include "host/system/input_kind.h"
#include "host/system/safe_write.h"
#include "host/tables/csv_reader.h"
#include "host/tables/table_import.h"
#include "host/text/parse_number.h"
#include "host/text/plural.h"
#include "host/tree/memory_tree.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

constexpr std::int64_t MAX_NAMES_ROW = 1'000'000;
constexpr std::int64_t MAX_DIMENSIONS = 32;

// The options as words, each as the command line takes it.
std::vector<std::string> list_table_arguments(const ImportCommand& command) {
    OptionWords words;
    words.add("--group", command.options.group);
    words.add_all("--set", command.sets);
    words.add("--rate", command.options.sample_rate);
    words.add("--time", command.options.time_column);
    words.add("--grid", command.grid);
    words.add("--max-gap", command.max_gap);
    words.add("--header", command.names_row);
    words.add_flag("--units-row", command.csv.has_units_row);
    words.add_flag("--decimal-comma", command.csv.decimal_comma);
    words.add_all("--missing", command.missing);
    return words.take();
}

// A table, and the record of its import.
struct TableRead {
    NumberTable table;
    HistoryRecord record;
};

// All of one moment. A pipe changes as it is read.
std::string read_text(const ImportCommand& command) {
    const UnchangedInput unchanged(command.input);
    std::string text = read_csv_text(command.input);
    if (std::filesystem::is_regular_file(command.input)) {
        unchanged.check();
    }
    return text;
}

TableRead read_table(const ImportCommand& command) {
    const std::string text = read_text(command);
    const HashedContent content = hash_bytes(text);
    const InputIdentity input{std::filesystem::path(command.input).filename().string(),
                              content.byte_count, content.sha256, content.mark};
    return {parse_csv(text, command.input, command.csv),
            make_import_record(TALVORA_VERSION, input, list_table_arguments(command))};
}

ImportReport build_file(const TableRead& read, const ImportCommand& command, PendingFile& pending) {
    ImportReport report;
    build_import(command, {.output = command.output}, pending, [&](DataTree& tree) {
        report = import_table(read.table, command.options, tree, command.input);
        return read.record;
    });
    return report;
}

void try_import(const Console& console, const ImportCommand& command) {
    const NumberTable table = parse_csv(read_text(command), command.input, command.csv);
    if (command.append) {
        make_output({.output = command.output}, [&] {
            const auto tree = open_input(command.output);
            plan_new_place(*tree, tree->root(), command.options.group);
            return true;
        });
    }
    print_import_report(make_output({.output = command.output},
                                    [&] {
                                        MemoryTree trial;
                                        return import_table(table, command.options, trial,
                                                            command.input);
                                    }),
                        console);
    console.info(fmt::format("dry run: {} was not written", command.output));
}

void make_file(const Console& console, const ImportCommand& command,
               const WriteOptions& write_options) {
    const TableRead read = read_table(command);
    PendingFile pending(command.output, write_options);
    const ImportReport report = build_file(read, command, pending);
    publish(console, pending);
    print_import_report(report, console);
    console.done_line(fmt::format("{}: {} ({} at {:.6g} Hz)", command.output,
                                  fmt::join(report.sets, ", "),
                                  count_things(report.sample_count, "sample"), report.sample_rate));
}

Placement read_placement(const std::string& word) {
    if (word == "nearest") {
        return Placement::Nearest;
    }
    if (word == "linear") {
        return Placement::Linear;
    }
    throw Failure(ExitCode::Usage,
                  fmt::format("--grid '{}': no way to place rows (known: nearest, linear)", word));
}

void read_grid_options(ImportCommand& command) {
    if (command.grid) {
        command.options.placement = read_placement(*command.grid);
    }
    if (command.max_gap && command.options.placement != Placement::Linear) {
        throw Failure(ExitCode::Usage, "--max-gap goes with --grid linear");
    }
    command.options.max_gap_samples = command.max_gap.value_or(command.options.max_gap_samples);
}

double read_missing(const std::string& text) {
    const auto number = parse_number<double>(text);
    if (!number || !std::isfinite(*number)) {
        throw Failure(ExitCode::Usage,
                      fmt::format("--missing '{}': not a number (allowed: a finite number with a "
                                  "decimal point)",
                                  text));
    }
    return *number;
}

void read_table_options(ImportCommand& command) {
    if (command.names_row) {
        command.csv.names_row = static_cast<std::size_t>(*command.names_row);
    }
    for (const std::string& text : command.missing) {
        command.csv.missing.push_back(read_missing(text));
    }
}

void import_table_file(const Session& session, ImportCommand& command) {
    read_table_options(command);
    for (const std::string& set : command.sets) {
        command.options.sets.push_back(parse_set_of_columns(set));
    }
    refuse_endless_file(command.input);
    const WriteOptions write_options = check_import_files(command, {command.input});
    if (command.dry_run) {
        try_import(session.console, command);
    } else {
        make_file(session.console, command, write_options);
    }
}

bool is_mapped(const ImportCommand& command) {
    return command.map || command.time_axis;
}

void refuse_mixed_options(const ImportCommand& command) {
    const bool has_table_options = !command.sets.empty() || command.options.time_column ||
                                   command.names_row || command.csv.has_units_row ||
                                   command.csv.decimal_comma || !command.missing.empty();
    if (is_mapped(command) && has_table_options) {
        throw Failure(ExitCode::Usage,
                      "--map and --time-axis go with HDF5 files, --set, --time, "
                      "--header, --units-row, --decimal-comma and --missing with tables");
    }
    if (!command.variables.empty() && !command.map) {
        throw Failure(ExitCode::Usage, "--variable goes with --map");
    }
    if (command.time_axis && !command.options.sample_rate) {
        throw Failure(ExitCode::Usage, "--time-axis needs the sample rate",
                      {"give it: --rate HZ", "or say where it stands, by a map: --map FILE.yaml"});
    }
    if (command.time_axis && command.grid) {
        throw Failure(ExitCode::Usage, "--grid needs times, which --time-axis knows nothing of",
                      {"say where they stand, by a map: --map FILE.yaml"});
    }
}

// What is added to was made by others.
void start_import(Session& session, ImportCommand& command) {
    refuse_mixed_options(command);
    read_grid_options(command);
    if (is_mapped(command)) {
        import_mapped_file(session, command);
    } else if (command.append) {
        read_apart(
            session, [&] { import_table_file(session, command); }, command.output);
    } else {
        import_table_file(session, command);
    }
}

} // namespace

void add_import_command(Command program, Session& session) {
    const auto state = std::make_shared<ImportCommand>();
    Command command = program.add_subcommand(
        "import",
        "A table (CSV), or an HDF5 file of another program, to data sets; what is missing "
        "becomes NaN");
    command
        .add_option(
            "FILE[::GLOB]", state->input,
            "Rows of numbers below a row of column names; with --map or --time-axis an HDF5 "
            "file, or what the pattern matches in it")
        .required();
    command.add_option("-o,--output", state->output, "The HDF5 file to make")
        .value_name("FILE")
        .path()
        .required();
    command.add_option("--group", state->options.group, "Where the data sets go")
        .value_name("GROUP")
        .show_default();
    command
        .add_option("--set", state->sets,
                    "NAME=COLUMN,COLUMN,...: one data set [columns, 1, samples] (repeatable; "
                    "without it each column becomes one)")
        .value_name("NAME=COLUMNS")
        .repeatable_by_name();
    command
        .add_option("--rate", state->options.sample_rate,
                    "Rows are equally spaced: samples per second (with --grid: those of the grid)")
        .value_name("HZ");
    command
        .add_option("--time", state->options.time_column,
                    "Rows are placed by this column, its unit s, ms or us in brackets (else "
                    "a column named time or t; '' with --rate: no column is a time)")
        .value_name("COLUMN");
    command
        .add_option("--grid", state->grid,
                    "For rows that are not equally spaced. nearest: each at the sample nearest to "
                    "its time; linear: samples on straight lines between the rows")
        .value_name("HOW");
    command
        .add_option("--max-gap", state->max_gap,
                    "Of --grid linear: rows further apart have no samples between them (1.5)")
        .value_name("SAMPLES");
    command
        .add_option("--header", state->names_row,
                    "The row that holds the names of the columns, counted from 1; what is above is "
                    "left out")
        .value_name("ROW")
        .within(1, MAX_NAMES_ROW);
    command.add_flag("--units-row", state->csv.has_units_row,
                     "The row below the names holds units");
    command.add_flag("--decimal-comma", state->csv.decimal_comma,
                     "Numbers are written with a comma: 0,5");
    command
        .add_option("--missing", state->missing,
                    "This number stands where a sample is missing, such as -9999 (repeatable)")
        .value_name("NUMBER")
        .repeatable_by_name();
    const Option map =
        command
            .add_option(
                "--map", state->map,
                "An HDF5 file: which data sets hold samples, and where rate, unit and scale "
                "stand. nwb, mat, or a file")
            .value_name("NAME|FILE.yaml")
            .path();
    command.add_option("--variable", state->variables, "Sets a variable of the map (repeatable)")
        .value_name("NAME=VALUE")
        .repeatable_by_name();
    command
        .add_option("--time-axis", state->time_axis,
                    "An HDF5 file: every data set of numbers, time along this dimension: 0 is the "
                    "first, -1 the last; needs --rate")
        .value_name("N")
        .within(-MAX_DIMENSIONS, MAX_DIMENSIONS - 1)
        .excludes(map);
    command.add_flag("--append", state->append, "Add a new group to an existing file");
    command.add_flag("--force", state->force, "Replace an existing file");
    command.add_flag("-n,--dry-run", state->dry_run, "Check everything, write nothing");
    add_examples(
        command,
        {{"Each column becomes a data set; rows are placed by the column Time (s)",
          "talvora-host import walk.csv -o walk.h5 --group Imu --time 'Time (s)'"},
         {"Three columns become the components of one data set, at 100 Hz",
          "talvora-host import walk.csv -o walk.h5 --group Imu --set Rate=X,Y,Z --rate 100"},
         {"The time series of another program's file",
          "talvora-host import session.nwb -o session.h5 --map nwb"},
         {"Arrays whose rows follow each other in time",
          "talvora-host import arrays.h5 -o signals.h5 --time-axis 0 --rate 1000"}});
    command.on_run([&session, state] { start_import(session, *state); });
}

} // namespace talvora::host
