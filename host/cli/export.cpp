// talvora-host export FILE.h5[::GLOB] -o FILE.csv
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/cli/printed_files.h"
#include "host/cli/read_apart.h"
#include "host/interface/path_patterns.h"
#include "host/runs/input_files.h"
#include "host/system/safe_write.h"
#include "host/tables/csv_export.h"
#include "host/text/plural.h"
#include "host/text/quote_word.h"

#include <fmt/format.h>

#include <memory>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

struct ExportCommand {
    std::string place; // FILE.h5[::GLOB]
    std::string output;
    ExportOptions options;
    bool force = false;
};

std::vector<SignalSet> read_sets(const TreePlace& place) {
    const auto tree = open_input(place.file);
    std::vector<SignalSet> sets;
    for (const std::string& path : choose_sets(*tree, place.glob, place.file.string())) {
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
}

void export_file(const Session& session, const ExportCommand& command) {
    const TreePlace place = parse_tree_place(command.place);
    const std::string source = place.file.string();
    const bool to_output = command.output == "-";
    const WriteOptions write_options{.replace = command.force, .sources = {place.file}};
    if (!to_output) {
        refuse_same_file(place.file, command.output);
        check_destination(command.output, write_options);
    }
    const std::vector<SignalSet> sets = read_input(place.file, [&] { return read_sets(place); });
    ExportReport report;
    write_text_file(session.console, command.output, write_options, [&](const TextSink& send) {
        report = export_sets(sets, source, send, command.options);
    });
    for (const std::string& warning : report.warnings) {
        session.console.warning(warning);
    }
    if (!to_output) {
        session.console.done_line(fmt::format("{}: {} of {}", command.output,
                                              count_things(report.row_count, "row"),
                                              count_things(report.columns.size() + 1, "column")));
        print_way_back(report, command.output, session.console);
    }
}

} // namespace

void add_export_command(Command program, Session& session) {
    const auto state = std::make_shared<ExportCommand>();
    Command command = program.add_subcommand(
        "export", "Data sets to the columns of a CSV file; missing samples become empty cells");
    command
        .add_option("FILE.h5[::GLOB]", state->place,
                    "The file; of it, the data sets that match GLOB over full paths (*, ?, [..] "
                    "within a name, ** for any names), or are in a group that does")
        .required();
    command.add_option("-o,--output", state->output, "The CSV file to make; - for standard output")
        .value_name("FILE")
        .required();
    command.add_flag("--no-formulas", state->options.no_formulas,
                     "An apostrophe before a column's name that a spreadsheet would take for a "
                     "formula (begins with = + - @, a tab or a carriage return)");
    command.add_flag("--force", state->force, "Replace an existing file");
    add_examples(command, {{"All data sets that are in the group Imu",
                            "talvora-host export walk.h5::Imu -o walk.csv"},
                           {"To standard output", "talvora-host export walk.h5 -o -"}});
    command.on_run(
        [&session, state] { read_apart(session, [&] { export_file(session, *state); }); });
}

} // namespace talvora::host
