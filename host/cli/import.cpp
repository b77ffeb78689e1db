// talvora-host import FILE.csv -o FILE.h5 [--append] [--group G] [--set ...]
//                                         [--rate HZ | --time COLUMN] [--grid nearest|linear]
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/cli/printed_files.h"
#include "host/cli/read_apart.h"
#include "host/recipes/import_history.h"
#include "host/runs/input_files.h"
#include "host/runs/output_files.h"
#include "host/runs/written_sets.h"
#include "host/system/content_hash.h"
#include "host/system/input_kind.h"
#include "host/system/safe_write.h"
#include "host/tables/csv_reader.h"
#include "host/tables/table_import.h"
#include "host/text/plural.h"
#include "host/tree/memory_tree.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

constexpr std::int64_t MAX_NAMES_ROW = 1'000'000;

struct ImportCommand {
    std::string input;
    std::string output;
    ImportOptions options;
    std::vector<std::string> sets;
    std::optional<std::string> grid;
    std::optional<double> max_gap;
    CsvChoice csv;
    std::optional<std::int64_t> names_row;
    bool append = false;
    bool force = false;
    bool dry_run = false;
};

void print_report(const ImportReport& report, const Console& console) {
    for (const std::string& warning : report.warnings) {
        console.warning(warning);
    }
    for (const std::string& info : report.infos) {
        console.info(info);
    }
}

// The tree that the data sets go to: an empty one, or a copy of the file added to.
std::unique_ptr<Hdf5Tree> start_file(const ImportCommand& command,
                                     const std::filesystem::path& file) {
    if (!command.append) {
        return create_over(file);
    }
    copy_content(command.output, file);
    return std::make_unique<Hdf5Tree>(file, Hdf5Access::ReadWrite);
}

// The options as words, each as the command line takes it.
std::vector<std::string> list_arguments(const ImportCommand& command) {
    std::vector<std::string> words = {"--group", command.options.group};
    const auto add = [&](const char* option, const auto& value) {
        if (value) {
            words.insert(words.end(), {option, fmt::format("{}", *value)});
        }
    };
    const auto add_flag = [&](const char* option, bool is_set) {
        if (is_set) {
            words.emplace_back(option);
        }
    };
    for (const std::string& set : command.sets) {
        words.insert(words.end(), {"--set", set});
    }
    add("--rate", command.options.sample_rate);
    add("--time", command.options.time_column);
    add("--grid", command.grid);
    add("--max-gap", command.max_gap);
    add("--header", command.names_row);
    add_flag("--units-row", command.csv.has_units_row);
    add_flag("--decimal-comma", command.csv.decimal_comma);
    return words;
}

// A table, and the record of its import.
struct TableRead {
    NumberTable table;
    HistoryRecord record;
};

TableRead read_table(const ImportCommand& command) {
    const std::string text = read_csv_text(command.input);
    const HashedContent content = hash_bytes(text);
    const InputIdentity input{std::filesystem::path(command.input).filename().string(),
                              content.byte_count, content.sha256, content.mark};
    return {parse_csv(text, command.input, command.csv),
            make_import_record(TALVORA_VERSION, input, list_arguments(command))};
}

ImportReport build_file(const TableRead& read, const ImportCommand& command, PendingFile& pending) {
    return make_output({.output = command.output}, [&] {
        const auto tree = start_file(command, pending.path());
        WrittenTree noted(*tree);
        ImportReport report = import_table(read.table, command.options, noted, command.input);
        append_import(noted, read.record);
        const auto written = noted.list_written();
        tree->close();
        pending.begin_sync();
        check_written(pending.path(), written);
        return report;
    });
}

// Before anything is read of the table.
void check_files(const ImportCommand& command, const WriteOptions& write_options) {
    refuse_endless_file(command.input);
    refuse_same_file(command.input, command.output);
    if (command.append) {
        open_input(command.output); // says what is wrong with a file that cannot be added to
    }
    check_destination(command.output, write_options);
}

void try_import(const Console& console, const ImportCommand& command) {
    const NumberTable table = read_csv(command.input, command.csv);
    print_report(make_output({.output = command.output},
                             [&] {
                                 MemoryTree trial;
                                 return import_table(table, command.options, trial, command.input);
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
    print_report(report, console);
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

void read_table_options(ImportCommand& command) {
    if (command.names_row) {
        command.csv.names_row = static_cast<std::size_t>(*command.names_row);
    }
}

void import_file(const Session& session, ImportCommand& command) {
    read_grid_options(command);
    read_table_options(command);
    for (const std::string& set : command.sets) {
        command.options.sets.push_back(parse_set_of_columns(set));
    }
    const WriteOptions write_options{.replace = command.force || command.append,
                                     .sources = {command.input}};
    check_files(command, write_options);
    if (command.dry_run) {
        try_import(session.console, command);
    } else {
        make_file(session.console, command, write_options);
    }
}

// What is added to was made by others.
void start_import(Session& session, ImportCommand& command) {
    if (command.append) {
        read_apart(
            session, [&] { import_file(session, command); }, command.output);
    } else {
        import_file(session, command);
    }
}

} // namespace

void add_import_command(Command program, Session& session) {
    const auto state = std::make_shared<ImportCommand>();
    Command command = program.add_subcommand(
        "import", "Columns of a CSV file to data sets; missing rows and cells become NaN");
    command.add_option("FILE.csv", state->input, "Rows of numbers below a row of column names")
        .required();
    command.add_option("-o,--output", state->output, "The HDF5 file to make")
        .value_name("FILE")
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
                    "a column named time or t)")
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
    command.add_flag("--append", state->append, "Add a new group to an existing file");
    command.add_flag("--force", state->force, "Replace an existing file");
    command.add_flag("-n,--dry-run", state->dry_run, "Check everything, write nothing");
    add_examples(
        command,
        {{"Each column becomes a data set; rows are placed by the column Time (s)",
          "talvora-host import walk.csv -o walk.h5 --group Imu --time 'Time (s)'"},
         {"Three columns become the components of one data set, at 100 Hz",
          "talvora-host import walk.csv -o walk.h5 --group Imu --set Rate=X,Y,Z --rate 100"}});
    command.on_run([&session, state] { start_import(session, *state); });
}

} // namespace talvora::host
