// talvora-host export FILE.h5[::GLOB] ... -o FILE.csv [--tidy]
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/cli/left_out.h"
#include "host/cli/packed_sets.h"
#include "host/cli/printed_files.h"
#include "host/cli/read_apart.h"
#include "host/cli/tree_places.h"
#include "host/interface/path_patterns.h"
#include "host/runs/input_files.h"
#include "host/system/safe_write.h"
#include "host/tables/csv_export.h"
#include "host/tables/tidy_export.h"
#include "host/text/ascii.h"
#include "host/text/join_texts.h"
#include "host/text/plural.h"
#include "host/text/quote_word.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {
namespace {

struct ExportCommand {
    std::vector<std::string> places; // FILE.h5[::GLOB]
    std::string output;
    ExportOptions options;
    bool tidy = false;
    bool force = false;
};

// Each set once, in the order of the patterns.
std::vector<std::string> choose_paths(const Console& console, DataTree& tree,
                                      const ChosenFile& chosen) {
    std::vector<std::string> paths;
    for (const std::string& glob : chosen.globs) {
        for (const std::string& path : choose_sets(tree, glob, chosen.file.string())) {
            if (std::ranges::find(paths, path) == paths.end()) {
                paths.push_back(path);
            }
        }
    }
    tell_left_out(console, tree, chosen.globs, chosen.file.string());
    for (const std::string& path : paths) {
        warn_of_packing(console, tree, path, chosen.file.string());
    }
    return paths;
}

std::vector<SignalSet> read_sets(const Console& console, const ChosenFile& chosen) {
    const auto tree = open_input(chosen.file);
    std::vector<SignalSet> sets;
    for (const std::string& path : choose_paths(console, *tree, chosen)) {
        sets.push_back(read_stored_signal_set(*tree, path));
    }
    return sets;
}

void print_way_back(const ExportReport& report, const std::string& output, const Console& console) {
    if (report.import_words.empty()) {
        return;
    }
    std::string words;
    for (const std::string& word : report.import_words) {
        words += " " + quote_word(word);
    }
    console.info(
        fmt::format("back: talvora-host import {} -o FILE.h5{}", quote_word(output), words));
    if (!report.renamed.empty()) {
        console.info(fmt::format("with other labels or units, which import takes out of the names "
                                 "of columns: '{}'",
                                 join_texts(report.renamed, "', '")));
    }
}

// One table of times; the lines of sets are its columns.
void export_columns(const Session& session, const ExportCommand& command, const ChosenFile& chosen,
                    const WriteOptions& write_options) {
    const std::vector<SignalSet> sets =
        read_unchanged(chosen.file, [&] { return read_sets(session.console, chosen); });
    ExportReport report;
    write_text_file(session.console, command.output, write_options, [&](const TextSink& send) {
        report = export_sets(sets, chosen.file.string(), send, command.options);
    });
    for (const std::string& warning : report.warnings) {
        session.console.warning(warning);
    }
    if (command.output != "-") {
        session.console.done_line(fmt::format("{}: {} of {}", command.output,
                                              count_things(report.row_count, "row"),
                                              count_things(report.columns.size() + 1, "column")));
        print_way_back(report, command.output, session.console);
    }
}

// One set in memory at a time.
std::uint64_t write_tidy_file(const Console& console, const ChosenFile& chosen,
                              const ExportOptions& options, const TextSink& send) {
    return read_unchanged(chosen.file, [&] {
        const auto tree = open_input(chosen.file);
        std::uint64_t row_count = 0;
        for (const std::string& path : choose_paths(console, *tree, chosen)) {
            row_count += write_tidy_rows(chosen.file.string(), read_stored_signal_set(*tree, path),
                                         send, options);
        }
        return row_count;
    });
}

// A row for each sample of all files.
void export_rows(const Session& session, const ExportCommand& command,
                 std::span<const ChosenFile> files, const WriteOptions& write_options) {
    std::uint64_t row_count = 0;
    write_text_file(session.console, command.output, write_options, [&](const TextSink& send) {
        send(tidy_names());
        for (const ChosenFile& file : files) {
            row_count += write_tidy_file(session.console, file, command.options, send);
        }
    });
    if (command.output != "-") {
        session.console.done_line(fmt::format("{}: {} of {}", command.output,
                                              count_things(row_count, "row"),
                                              count_things(files.size(), "file")));
    }
}

// By the ending of the output, what people would take the file for.
void refuse_other_formats(const std::string& output) {
    constexpr std::string_view ENDINGS[] = {".parquet", ".feather", ".arrow", ".xlsx", ".xls",
                                            ".ods",     ".mat",     ".npy",   ".npz",  ".json",
                                            ".pkl",     ".sav",     ".tsv"};
    std::string ending = std::filesystem::path(output).extension().string();
    std::ranges::transform(ending, ending.begin(), to_lower);
    if (std::ranges::find(ENDINGS, ending) != std::end(ENDINGS)) {
        throw Failure(
            ExitCode::Usage,
            fmt::format("-o {}: export writes CSV, no {} (allowed: a name such as {})", output,
                        ending, std::filesystem::path(output).replace_extension(".csv").string()));
    }
}

void refuse_several(std::span<const ChosenFile> files) {
    if (files.size() > 1) {
        throw Failure(ExitCode::Usage,
                      fmt::format("{} share no column of times (first: {}, {})",
                                  count_things(files.size(), "file"), files[0].file.string(),
                                  files[1].file.string()),
                      {"--tidy writes them with a row for each value, and its file in front"});
    }
}

void export_files(const Session& session, const ExportCommand& command) {
    refuse_other_formats(command.output);
    const std::vector<ChosenFile> files = choose_files(command.places);
    if (!command.tidy) {
        refuse_several(files);
    }
    WriteOptions write_options{.replace = command.force, .sources = {}};
    for (const ChosenFile& chosen : files) {
        write_options.sources.push_back(chosen.file);
    }
    if (command.output != "-") {
        for (const ChosenFile& chosen : files) {
            refuse_same_file(chosen.file, command.output);
        }
        check_destination(command.output, write_options);
    }
    if (command.tidy) {
        export_rows(session, command, files, write_options);
    } else {
        export_columns(session, command, files.front(), write_options);
    }
}

} // namespace

void add_export_command(Command program, Session& session) {
    const auto state = std::make_shared<ExportCommand>();
    Command command = program.add_subcommand(
        "export", "Data sets to the columns of a CSV file; missing samples become empty cells");
    command
        .add_option("FILE.h5[::GLOB]", state->places,
                    "The file; of it, the data sets that match GLOB over full paths (*, ?, [..] "
                    "within a name, ** for any names), or are in a group that does (repeatable; "
                    "the file may be a pattern, too, in quotes)")
        .required();
    command.add_option("-o,--output", state->output, "The CSV file to make; - for standard output")
        .value_name("FILE")
        .path()
        .required();
    command.add_flag(
        "--tidy", state->tidy,
        "A row for each value: file, set, component, label, unit, sample, time, value; "
        "of any number of files and sets");
    command.add_flag("--no-formulas", state->options.no_formulas,
                     "An apostrophe before a name that a spreadsheet would take for a "
                     "formula (begins with = + - @, a tab or a carriage return)");
    command.add_flag("--force", state->force, "Replace an existing file");
    add_examples(command, {{"All data sets that are in the group Imu",
                            "talvora-host export walk.h5::Imu -o walk.csv"},
                           {"To standard output", "talvora-host export walk.h5 -o -"},
                           {"The results of many files, for statistics",
                            "talvora-host export 'results/*.h5::Means/**' --tidy -o means.csv"}});
    command.on_run([&session, state] {
        read_apart(
            session, [&] { export_files(session, *state); }, name_text_file(state->output));
    });
}

} // namespace talvora::host
