// talvora-host tree FILE.h5[::GLOB] [--attributes] [--statistics] [--json]
#include "host/cli/attribute_values.h"
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/cli/read_apart.h"
#include "host/cli/tree_entries.h"
#include "host/interface/path_patterns.h"
#include "host/recipes/json_text.h"
#include "host/runs/input_files.h"
#include "host/text/align_columns.h"
#include "host/text/join_texts.h"
#include "host/tree/data_tree.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace talvora::host {
namespace {

using Json = nlohmann::ordered_json;

struct TreeOptions {
    std::string place; // FILE.h5[::GLOB]
    bool attributes = false;
    bool statistics = false;
    bool json = false;
};

// ---------------------------------------------------------------------------
// As text

std::string describe_rounded(double value) {
    return std::isnan(value) ? "NaN" : fmt::format("{:.6g}", value);
}

constexpr std::size_t STATISTICS_COLUMN_COUNT = 8; // with those that are always there

std::string describe_attribute(const ObjectAttribute& attribute) {
    return fmt::format("    {} = {}", attribute.name,
                       attribute.value ? describe_values(*attribute.value)
                                       : "(" + attribute.problem + ")");
}

// Integers as they are.
std::string describe_rounded(const SampleValue& value) {
    if (const auto* number = std::get_if<double>(&value)) {
        return describe_rounded(*number);
    }
    return std::visit([](auto integer) { return fmt::format("{}", integer); }, value);
}

// The type of 32-bit floats, which most sets have, is left out.
std::string describe_shape(const TreeEntry& entry) {
    const std::string extents = describe_extents(entry.extents);
    return entry.type == SampleType::Float32
               ? extents
               : fmt::format("{} {}", extents, name_sample_type(entry.type));
}

// "X, Y, Z (deg/s)"; units that differ stand behind their labels.
std::string describe_lines(const LineNames& names) {
    const std::vector<std::string>& units = names.units.texts;
    std::vector<std::string> texts = names.short_labels.texts;
    if (units.size() > 1 && (texts.empty() || texts.size() == units.size())) {
        texts.resize(units.size());
        std::ranges::transform(texts, units, texts.begin(), name_with_unit);
    }
    if (texts.size() > MAX_SHOWN_VALUES) {
        const std::size_t count = texts.size();
        texts.resize(MAX_SHOWN_VALUES);
        texts.push_back(fmt::format("... {} names", count));
    }
    const std::string listed = join_texts(texts);
    return units.size() == 1 ? name_with_unit(listed, units.front()) : listed;
}

std::vector<std::string> make_row(const TreeEntry& entry, const TreeOptions& options) {
    const bool is_group = entry.kind == ObjectKind::Group;
    const bool is_set = entry.kind == ObjectKind::DataSet;
    std::vector<std::string> row = {is_group ? entry.path + "/" : entry.path,
                                    is_set ? describe_shape(entry) : entry.description,
                                    entry.sample_rate ? describe_rounded(*entry.sample_rate) + " Hz"
                                                      : ""};
    if (options.statistics) {
        row.resize(STATISTICS_COLUMN_COUNT);
        if (const auto& numbers = entry.statistics) {
            row[3] = fmt::format("{}", numbers->sample_count);
            row[4] = fmt::format("{}", numbers->missing_count);
            row[5] = describe_rounded(numbers->least);
            row[6] = describe_rounded(numbers->greatest);
            row[7] = describe_rounded(numbers->mean);
        }
    }
    row.push_back(describe_lines(entry.names));
    return row;
}

void print_text(const std::vector<TreeEntry>& entries, const TreeOptions& options,
                const Console& console) {
    std::vector<std::vector<std::string>> rows;
    std::vector<bool> numeric = {false, false, true};
    if (options.statistics) {
        rows.push_back({"path", "shape", "rate", "samples", "missing", "min", "max", "mean", ""});
        numeric.resize(STATISTICS_COLUMN_COUNT, true);
    }
    numeric.push_back(false);
    const std::size_t head_count = rows.size();
    for (const TreeEntry& entry : entries) {
        rows.push_back(make_row(entry, options));
    }
    const std::vector<std::string> lines = align_columns(rows, numeric);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        console.result_line(lines[i]);
        if (i >= head_count) {
            for (const ObjectAttribute& attribute : entries[i - head_count].attributes) {
                console.result_line(describe_attribute(attribute));
            }
        }
    }
}

// ---------------------------------------------------------------------------
// As JSON

Json make_json(const SampleValue& value) {
    return std::visit([](auto number) { return Json(number); }, value);
}

Json make_json(const TreeEntry& entry, const TreeOptions& options) {
    Json json = {{"path", entry.path}, {"kind", entry.description}};
    if (entry.kind == ObjectKind::DataSet) {
        json["dtype"] = name_sample_type(entry.type);
        json["shape"] = entry.extents;
        json["sample_rate"] = value_or_null(entry.sample_rate);
        if (!entry.names.labels.texts.empty()) {
            json["labels"] = entry.names.labels.texts;
        }
        if (!entry.names.units.texts.empty()) {
            json["units"] = entry.names.units.texts;
        }
    }
    if (options.attributes) {
        json["attributes"] = Json::object();
        for (const ObjectAttribute& attribute : entry.attributes) {
            json["attributes"][attribute.name] =
                attribute.value ? make_json(*attribute.value) : Json(nullptr);
        }
    }
    if (const auto& numbers = entry.statistics) {
        json["statistics"] = {{"samples", numbers->sample_count},
                              {"missing", numbers->missing_count},
                              {"min", make_json(numbers->least)},
                              {"max", make_json(numbers->greatest)},
                              {"mean", numbers->mean}};
    }
    return json;
}

// ---------------------------------------------------------------------------

void print_tree(const Session& session, const TreeOptions& options) {
    const TreePlace place = parse_tree_place(options.place);
    const UnchangedInput unchanged(place.file);
    const auto tree = open_input(place.file);
    const std::vector<TreeEntry> entries = read_input(place.file, [&] {
        return gather_entries(*tree, place.glob, {options.attributes, options.statistics});
    });
    if (options.statistics) {
        unchanged.check();
    }
    if (entries.empty() && !place.glob.empty()) {
        throw explain_no_match(*tree, place.glob, place.file.string());
    }
    if (!options.json) {
        print_text(entries, options, session.console);
        return;
    }
    Json list = Json::array();
    for (const TreeEntry& entry : entries) {
        list.push_back(make_json(entry, options));
    }
    session.console.document({{"file", place.file.string()}, {"objects", list}});
}

} // namespace

void add_tree_command(Command program, Session& session) {
    const auto options = std::make_shared<TreeOptions>();
    Command command =
        program.add_subcommand("tree", "What a file holds: groups, data sets, attributes");
    command
        .add_option("FILE.h5[::GLOB]", options->place,
                    "The file; of it, what matches GLOB over full paths (*, ?, [..] within a "
                    "name, ** for any names)")
        .required();
    command.add_flag("--attributes", options->attributes,
                     "Attributes of each object, but for the history");
    command.add_flag("--statistics", options->statistics,
                     "Per data set: samples, missing ones (NaN), min, max and mean");
    command.add_flag("--json", options->json, "One JSON document");
    add_examples(command, {{"Everything in a file", "talvora-host tree walk.h5 --attributes"},
                           {"The data sets at any depth below Imu",
                            "talvora-host tree walk.h5::Imu/** --statistics"}});
    command.on_run(
        [&session, options] { read_apart(session, [&] { print_tree(session, *options); }); });
}

} // namespace talvora::host
