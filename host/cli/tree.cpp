// talvora-host tree FILE.h5[::GLOB] [--attributes] [--statistics] [--json]
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/cli/input_files.h"
#include "host/interface/path_patterns.h"
#include "host/text/nearest_text.h"
#include "host/text/path_glob.h"
#include "host/text/shortest_double.h"
#include "host/tree/data_tree.h"
#include "host/tree/history_attribute.h"
#include "host/tree/number_attribute.h"
#include "host/tree/set_statistics.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cmath>
#include <memory>
#include <set>
#include <string>
#include <utility>
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

struct Attribute {
    std::string name;
    std::optional<AttributeValue> value; // nothing when its type cannot be read
    std::string problem;
};

// What the tree says of one object.
struct Entry {
    std::string path;
    std::string kind;
    Extents extents; // of a data set
    std::optional<double> sample_rate;
    std::vector<Attribute> attributes;
    std::optional<SetStatistics> statistics;
};

// ---------------------------------------------------------------------------
// Gathering, in the order of the tree: what a group holds stands below it.

std::vector<std::string> in_natural_order(std::vector<std::string> names) {
    sort_naturally(names);
    return names;
}

class Gatherer {
  public:
    Gatherer(DataTree& tree, TreeOptions options, std::string glob)
        : tree_(tree), options_(std::move(options)), glob_(std::move(glob)),
          is_path_(!glob_.empty() && tree_.find(tree_.root(), glob_)) {}

    std::vector<Entry> gather() {
        const bool everything = glob_.empty();
        if (everything && options_.attributes) {
            add_object(tree_.root(), "", "group");
        }
        gather_below(tree_.root(), "", everything);
        return std::move(entries_);
    }

  private:
    // A group that the pattern matches is shown with all that it holds.
    bool chosen(const std::string& path, bool group_chosen) const {
        return group_chosen ||
               (is_path_ ? split_names(glob_) == split_names(path) : matches_path(glob_, path));
    }

    void gather_below(ObjectId group, const std::string& group_path, bool group_chosen) {
        visited_.insert(group);
        for (const OtherObject& other : tree_.list_others(group)) {
            const std::string path = join_path(group_path, other.name);
            if (chosen(path, group_chosen)) {
                Entry& entry = entries_.emplace_back();
                entry.path = path;
                entry.kind = other.description;
            }
        }
        for (const std::string& name : in_natural_order(tree_.list_datasets(group))) {
            const std::string path = join_path(group_path, name);
            if (chosen(path, group_chosen)) {
                add_set(tree_.find(group, name).value(), path);
            }
        }
        for (const std::string& name : in_natural_order(tree_.list_groups(group))) {
            const std::string path = join_path(group_path, name);
            gather_group(tree_.find(group, name).value(), path, chosen(path, group_chosen));
        }
    }

    // A group linked into several places is followed in the first of them.
    void gather_group(ObjectId group, const std::string& path, bool is_chosen) {
        if (is_chosen) {
            add_object(group, path, "group");
        }
        if (!visited_.contains(group)) {
            gather_below(group, path, is_chosen);
        } else if (is_chosen) {
            entries_.back().kind = fmt::format("group, the same as /{}", tree_.path(group));
        }
    }

    Entry& add_object(ObjectId object, const std::string& path, std::string kind) {
        Entry& entry = entries_.emplace_back();
        entry.path = path;
        entry.kind = std::move(kind);
        if (options_.attributes) {
            for (const std::string& name : tree_.list_attributes(object)) {
                // Long, and shown by a command of its own.
                if (object != tree_.root() || name != HISTORY_ATTRIBUTE) {
                    entry.attributes.push_back(read(object, name));
                }
            }
        }
        return entry;
    }

    void add_set(ObjectId set, const std::string& path) {
        Entry& entry = add_object(set, path, "data set");
        entry.extents = tree_.extents(set);
        entry.sample_rate = read_number_attribute(tree_, set, SAMPLE_RATE_ATTRIBUTE);
        if (options_.statistics) {
            entry.statistics = measure_set(tree_, set);
        }
    }

    Attribute read(ObjectId object, const std::string& name) {
        try {
            return {name, tree_.read_attribute(object, name), {}};
        } catch (const TreeError& error) {
            return {name, std::nullopt, error.what()};
        }
    }

    DataTree& tree_;
    TreeOptions options_;
    std::string glob_;
    bool is_path_; // the pattern names an object as it stands
    std::vector<Entry> entries_;
    std::set<ObjectId> visited_;
};

// ---------------------------------------------------------------------------
// As text

// The sign of a NaN means nothing to a reader.
template <typename Number>
std::string show_number(Number value) {
    return std::isnan(value) ? "NaN" : fmt::format("{}", value);
}

std::string show_rounded(double value) {
    return std::isnan(value) ? "NaN" : fmt::format("{:.6g}", value);
}

// More values than a line holds are cut short; --json gives all of them.
constexpr std::size_t MAX_SHOWN_VALUES = 8;

struct ValueText {
    std::string operator()(std::int64_t value) const { return fmt::format("{}", value); }
    std::string operator()(float value) const { return show_number(value); }
    std::string operator()(double value) const { return show_number(value); }
    std::string operator()(const std::string& value) const { return fmt::format("{:?}", value); }
    template <typename Array>
    std::string operator()(const Array& array) const {
        std::vector<std::string> texts;
        for (const auto& value : array.values) {
            if (texts.size() == MAX_SHOWN_VALUES) {
                texts.push_back(fmt::format("... {} values", array.values.size()));
                break;
            }
            texts.push_back((*this)(value));
        }
        return fmt::format("[{}]", fmt::join(texts, ", "));
    }
};

std::string show_attribute(const Attribute& attribute) {
    return fmt::format("    {} = {}", attribute.name,
                       attribute.value ? std::visit(ValueText{}, *attribute.value)
                                       : "(" + attribute.problem + ")");
}

std::vector<std::string> make_row(const Entry& entry, const TreeOptions& options) {
    const bool is_set = entry.kind == "data set";
    std::vector<std::string> row = {entry.kind.starts_with("group") ? entry.path + "/" : entry.path,
                                    is_set ? describe_extents(entry.extents) : entry.kind,
                                    entry.sample_rate ? show_rounded(*entry.sample_rate) + " Hz"
                                                      : ""};
    if (options.statistics) {
        row.resize(8);
        if (const auto& numbers = entry.statistics) {
            row[3] = fmt::format("{}", numbers->sample_count);
            row[4] = fmt::format("{}", numbers->missing_count);
            row[5] = show_rounded(numbers->min);
            row[6] = show_rounded(numbers->max);
            row[7] = show_rounded(numbers->mean);
        }
    }
    return row;
}

void print_text(const std::vector<Entry>& entries, const TreeOptions& options,
                const Console& console) {
    std::vector<std::vector<std::string>> rows;
    std::vector<bool> numeric = {false, false, true};
    if (options.statistics) {
        rows.push_back({"path", "shape", "rate", "samples", "missing", "min", "max", "mean"});
        numeric.resize(8, true);
    }
    const std::size_t head_count = rows.size();
    for (const Entry& entry : entries) {
        rows.push_back(make_row(entry, options));
    }
    const std::vector<std::string> lines = align_columns(rows, numeric);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        console.result_line(lines[i]);
        if (i >= head_count) {
            for (const Attribute& attribute : entries[i - head_count].attributes) {
                console.result_line(show_attribute(attribute));
            }
        }
    }
}

// ---------------------------------------------------------------------------
// As JSON

struct ValueJson {
    Json operator()(float value) const { return shortest_double(value); }
    Json operator()(const IntegerArray& array) const { return array.values; }
    Json operator()(const NumberArray& array) const { return array.values; }
    Json operator()(const TextArray& array) const { return array.values; }
    template <typename Value>
    Json operator()(const Value& value) const {
        return value;
    }
};

Json make_json(const Entry& entry, const TreeOptions& options) {
    Json json = {{"path", entry.path}, {"kind", entry.kind}};
    if (entry.kind == "data set") {
        json["shape"] = entry.extents;
        json["sample_rate"] = entry.sample_rate ? Json(*entry.sample_rate) : Json(nullptr);
    }
    if (options.attributes) {
        json["attributes"] = Json::object();
        for (const Attribute& attribute : entry.attributes) {
            json["attributes"][attribute.name] =
                attribute.value ? std::visit(ValueJson{}, *attribute.value) : Json(nullptr);
        }
    }
    if (const auto& numbers = entry.statistics) {
        json["statistics"] = {{"samples", numbers->sample_count},
                              {"missing", numbers->missing_count},
                              {"min", numbers->min},
                              {"max", numbers->max},
                              {"mean", numbers->mean}};
    }
    return json;
}

// ---------------------------------------------------------------------------

void show_tree(const Session& session, const TreeOptions& options) {
    const TreePlace place = parse_tree_place(options.place);
    const auto tree = open_input(place.file);
    const std::vector<Entry> entries = Gatherer(*tree, options, place.glob).gather();
    if (entries.empty() && !place.glob.empty()) {
        throw explain_no_match(*tree, place.glob, place.file.string());
    }
    if (!options.json) {
        print_text(entries, options, session.console);
        return;
    }
    Json list = Json::array();
    for (const Entry& entry : entries) {
        list.push_back(make_json(entry, options));
    }
    session.console.document({{"file", place.file.string()}, {"objects", list}});
}

} // namespace

void add_tree_command(CLI::App& program, Session& session) {
    const auto options = std::make_shared<TreeOptions>();
    CLI::App* command =
        program.add_subcommand("tree", "What a file holds: groups, data sets, attributes");
    command
        ->add_option("FILE.h5[::GLOB]", options->place,
                     "The file; of it, what matches GLOB over full paths (*, ?, [..] within a "
                     "name, ** for any names)")
        ->required();
    command->add_flag("--attributes", options->attributes,
                      "Attributes of each object, but for the history");
    command->add_flag("--statistics", options->statistics,
                      "Per data set: samples, missing ones (NaN), min, max and mean");
    command->add_flag("--json", options->json, "One JSON document");
    add_examples(*command, {{"Everything in a file", "talvora-host tree walk.h5 --attributes"},
                            {"The data sets at any depth below Imu",
                             "talvora-host tree walk.h5::Imu/** --statistics"}});
    command->callback([&session, options] { show_tree(session, *options); });
}

} // namespace talvora::host
