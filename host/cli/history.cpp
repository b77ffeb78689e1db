// talvora-host history FILE.h5 [--json]
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/cli/read_apart.h"
#include "host/recipes/import_history.h"
#include "host/recipes/run_history.h"
#include "host/runs/input_files.h"
#include "host/runs/set_change.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

struct HistoryOptions {
    std::string file;
    bool json = false;
};

// The text at a path like "/input/name", or what stands there as JSON.
std::string text_at(const HistoryRecord& record, const char* path) {
    const auto value = record.value(HistoryRecord::json_pointer(path), HistoryRecord());
    return value.is_string() ? value.get<std::string>() : value.dump();
}

// A record may have been written by anything: no more is asked of it than is told.
SetObservation read_set(const HistoryRecord& set) {
    const HistoryRecord& before = set.at("before");
    const HistoryRecord& after = set.at("after");
    SetObservation told;
    told.path = set.at("path").get<std::string>();
    told.written = set.at("written").get<bool>();
    told.after.extents = after.at("shape").get<Extents>();
    if (const HistoryRecord& rate = after.at("rate"); rate.is_number()) {
        told.after.sample_rate = rate.get<double>();
    }
    told.after.missing_count = after.at("missing").get<std::uint64_t>();
    if (!before.is_null()) {
        told.before.emplace().missing_count = before.at("missing").get<std::uint64_t>();
    }
    if (const HistoryRecord& filled = set.at("gaps_filled"); !filled.is_null()) {
        told.filled_gap_count = filled.get<std::uint64_t>();
        told.after.gap_count = after.at("gaps").get<std::uint64_t>();
    }
    return told;
}

std::string describe_step(const HistoryRecord& record) {
    std::string text = fmt::format("{}  {}", text_at(record, "/time"), text_at(record, "/step"));
    if (text_at(record, "/step_count") != "1") {
        text += fmt::format(" ({} of {})", text_at(record, "/step_number"),
                            text_at(record, "/step_count"));
    }
    return text;
}

std::string describe_input(const HistoryRecord& record) {
    if (record.contains("input") && record["input"].is_null()) {
        return "  input in memory";
    }
    return fmt::format("  input {}, {} bytes, sha256 {}", text_at(record, "/input/name"),
                       text_at(record, "/input/size"), text_at(record, "/input/sha256"));
}

using Lines = std::vector<std::string>;

void describe_origin(const HistoryRecord& record, Lines& lines) {
    lines.push_back(describe_step(record));
    lines.push_back(fmt::format("  unit {} {}, plug-in {} {}, {} {}", text_at(record, "/unit"),
                                text_at(record, "/unit_version"), text_at(record, "/plugin/name"),
                                text_at(record, "/plugin/version"), text_at(record, "/host/name"),
                                text_at(record, "/host/version")));
    lines.push_back(describe_input(record));
}

void describe_parameters(const HistoryRecord& record, Lines& lines) {
    for (const auto& [key, value] : record.at("parameters").items()) {
        if (!value.is_null()) {
            lines.push_back(fmt::format("  {} = {}", key, value.dump()));
        }
    }
    for (const char* aim : {"edges", "to_rate", "set_by_set"}) {
        if (record.contains(aim)) {
            lines.push_back(fmt::format("  {} = {}", aim, record[aim].dump()));
        }
    }
    for (const auto& found : record.value("found", HistoryRecord::array())) {
        if (const HistoryRecord& set = found.at("set"); !set.is_null()) {
            lines.push_back(fmt::format("  found for {}: {}", set.get<std::string>(),
                                        found.at("parameters").dump()));
        }
    }
    for (const auto& filter : record.value("filters", HistoryRecord::array())) {
        lines.push_back(fmt::format("  filter {}", filter.at("summary").get<std::string>()));
    }
}

void describe_accepted(const HistoryRecord& record, Lines& lines) {
    for (const auto& guard : record.value("guards", HistoryRecord::array())) {
        const HistoryRecord& set = guard.at("set");
        lines.push_back(fmt::format("  accepted {}: {}{}", guard.at("name").get<std::string>(),
                                    set.is_null() ? "" : set.get<std::string>() + ": ",
                                    guard.at("text").get<std::string>()));
    }
}

void describe_changes(const HistoryRecord& record, Lines& lines) {
    for (const auto& json : record.at("sets")) {
        const SetObservation set = read_set(json);
        lines.push_back(
            fmt::format("  {}{}", set.written ? "" : "read ", describe_set_change(set)));
    }
    for (const auto& [path, names] : record.at("attributes").items()) {
        lines.push_back(
            fmt::format("  {}: attributes {}", path.empty() ? "/" : path, names.dump()));
    }
}

Lines describe_history(const std::vector<HistoryRecord>& history, const std::string& file) {
    try {
        Lines lines;
        for (const HistoryRecord& record : history) {
            describe_origin(record, lines);
            describe_parameters(record, lines);
            describe_accepted(record, lines);
            describe_changes(record, lines);
        }
        return lines;
    } catch (const nlohmann::json::exception& error) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: the history cannot be shown: {}", file, error.what()));
    }
}

struct WholeHistory {
    std::vector<HistoryRecord> imports;
    std::vector<HistoryRecord> runs;
};

WholeHistory read_whole_history(const std::string& file) {
    return read_input(file, [&] {
        const auto tree = open_input(file);
        return WholeHistory{read_imports(*tree, file), read_history(*tree, file)};
    });
}

Lines describe_imports(const std::vector<HistoryRecord>& imports) {
    Lines lines;
    for (const HistoryRecord& record : imports) {
        lines.push_back(fmt::format("import of {}", describe_import_input(record)));
        lines.push_back(fmt::format("  {}", describe_import_command(record)));
    }
    return lines;
}

void print_history(const Session& session, const HistoryOptions& options) {
    const auto [imports, history] = read_whole_history(options.file);
    if (options.json) {
        session.console.document(
            {{"file", options.file}, {"imports", imports}, {"history", history}});
        return;
    }
    if (imports.empty() && history.empty()) {
        session.console.info(fmt::format("{}: no history", options.file));
    }
    Lines lines = describe_imports(imports);
    std::ranges::copy(describe_history(history, options.file), std::back_inserter(lines));
    for (const std::string& line : lines) {
        session.console.result_line(line);
    }
}

} // namespace

void add_history_command(Command program, Session& session) {
    const auto options = std::make_shared<HistoryOptions>();
    Command command =
        program.add_subcommand("history", "What was done to a file, when, with which versions");
    command.add_option("FILE.h5", options->file, "The file").required();
    command.add_flag("--json", options->json, "One JSON document, complete");
    add_examples(command,
                 {{"What was done to a file", "talvora-host history smooth.h5"},
                  {"All that is recorded, for a script", "talvora-host history smooth.h5 --json"}});
    command.on_run(
        [&session, options] { read_apart(session, [&] { print_history(session, *options); }); });
}

} // namespace talvora::host
