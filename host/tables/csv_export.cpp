#include "host/tables/csv_export.h"

#include "host/tables/component_names.h"
#include "host/tables/csv_quoting.h"
#include "host/tables/row_placement.h"
#include "host/tables/sample_text.h"
#include "host/text/failure.h"
#include "host/text/join_texts.h"
#include "host/text/plural.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>
#include <type_traits>
#include <variant>

namespace talvora::host {
namespace {

constexpr std::size_t PIECE_BYTES = 1 << 16;
constexpr char TIMES_NAME[] = "Time (s)";
constexpr std::size_t FIRST_ROW = 2; // below the names

// A line of a set, as its samples are stored.
using Samples =
    std::variant<std::span<const float>, std::span<const double>, std::span<const std::int32_t>,
                 std::span<const std::int64_t>, std::span<const std::uint64_t>>;

// One column: its name and the line of samples below it.
struct Column {
    std::string name;
    Samples samples;
};

// ---------------------------------------------------------------------------
// What may stand side by side

std::string describe_times(const SignalSet& set) {
    return set.sample_rate
               ? fmt::format("{} at {} Hz from {} s", count_things(set.line_length(), "sample"),
                             *set.sample_rate, set.start_time)
               : fmt::format("{} of unknown rate", count_things(set.line_length(), "sample"));
}

void check_alike(std::span<const SignalSet> sets, const std::string& source) {
    const SignalSet& first = sets.front();
    for (const SignalSet& set : sets) {
        if (set.line_length() != first.line_length() || set.sample_rate != first.sample_rate ||
            set.start_time != first.start_time) {
            throw Failure(ExitCode::Input,
                          fmt::format("{}: '{}' has {}, '{}' {}: they share no column of times",
                                      source, first.path, describe_times(first), set.path,
                                      describe_times(set)),
                          {"export them apart, each with a pattern of its own"});
        }
    }
}

// ---------------------------------------------------------------------------
// Columns

// The group that all sets are in, at any depth; empty for the root.
std::string shared_group(std::span<const SignalSet> sets) {
    std::string shared = split_last(sets.front().path).first;
    for (const SignalSet& set : sets) {
        while (!shared.empty() && !set.path.starts_with(shared + "/")) {
            shared = split_last(shared).first;
        }
    }
    return shared;
}

// `set_name` as it is to stand in the table.
std::string name_column(const std::string& set_name, const SignalSet& set, std::size_t line,
                        const ExportOptions& options) {
    const char* mark = options.no_formulas && is_formula(set_name) ? "'" : "";
    const std::string& label = set.line_label(line);
    const std::string name = fmt::format("{}{}{}{}{}", mark, set_name, label.empty() ? "" : ".",
                                         label, set.line_indices(line));
    return name_with_unit(name, set.line_unit(line));
}

Samples line_samples(const SignalSet& set, std::size_t line) {
    return set.visit_line(line, [](const auto& samples) -> Samples { return samples; });
}

std::vector<Column> make_columns(std::span<const SignalSet> sets, const ExportOptions& options) {
    const std::string shared = shared_group(sets);
    std::vector<Column> columns;
    for (const SignalSet& set : sets) {
        const std::string name = set.path.substr(shared.empty() ? 0 : shared.size() + 1);
        for (std::size_t i = 0; i < set.line_count(); ++i) {
            columns.push_back({name_column(name, set, i, options), line_samples(set, i)});
        }
    }
    return columns;
}

void check_names(const std::string& first, std::span<const Column> columns,
                 const std::string& source) {
    std::set<std::string> seen = {first};
    for (const Column& column : columns) {
        if (!seen.insert(column.name).second) {
            throw Failure(ExitCode::Input,
                          fmt::format("{}: two columns named '{}'", source, column.name),
                          {"export the sets apart, each with a pattern of its own"});
        }
    }
}

// ---------------------------------------------------------------------------
// The way back

bool is_in_one_group(std::span<const SignalSet> sets) {
    const std::string group = split_last(sets.front().path).first;
    return std::ranges::all_of(
        sets, [&](const SignalSet& set) { return split_last(set.path).first == group; });
}

// A set's name behind --set ends at the first '='.
bool can_be_named(const SignalSet& set) {
    return split_last(set.path).second.find('=') == std::string::npos;
}

std::vector<std::string> name_columns(const SignalSet& set, const ExportOptions& options) {
    const std::string name = split_last(set.path).second;
    std::vector<std::string> columns;
    for (std::size_t i = 0; i < set.line_count(); ++i) {
        columns.push_back(name_column(name, set, i, options));
    }
    return columns;
}

// As parse_set_of_columns takes it.
std::string format_set_of_columns(const SignalSet& set, const ExportOptions& options) {
    std::vector<std::string> columns = name_columns(set, options);
    std::ranges::transform(columns, columns.begin(), quote_field);
    return fmt::format("{}={}", split_last(set.path).second, join_texts(columns, ","));
}

// A line without a label gets none, or one of the set's name.
bool is_label_of_line(std::string_view label, const SignalSet& set, std::size_t line) {
    const std::string& own = set.line_label(line);
    const std::string indices = set.line_indices(line);
    return own.empty() ? (split_last(set.path).second + indices).starts_with(label)
                       : label == own + indices;
}

// Whether import takes the labels and units of the set out of the names of its columns.
bool keeps_names(const SignalSet& set, const ExportOptions& options) {
    const std::vector<std::string> columns = name_columns(set, options);
    const auto names = name_components(split_last(set.path).second, columns,
                                       std::vector<std::string>(columns.size()));
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (names.units[i] != set.line_unit(i) || !is_label_of_line(names.labels[i], set, i)) {
            return false;
        }
    }
    return true;
}

std::vector<double> list_times(const SignalSet& set) {
    std::vector<double> times(set.line_length());
    for (std::uint64_t sample = 0; sample < times.size(); ++sample) {
        times[sample] = set.time_of(sample);
    }
    return times;
}

// Whether import finds the rate of the set in these times, bit for bit, and no other sample count.
bool tell_rate(std::span<const double> times, const SignalSet& set, const std::string& source) {
    try {
        const TimeGrid grid = place_rows(times, TIMES_NAME, {}, source).grid;
        return static_cast<float>(grid.sample_rate) == static_cast<float>(*set.sample_rate) &&
               grid.sample_count == set.line_length();
    } catch (const Failure&) {
        return false;
    }
}

// The words that import needs beside the times; nothing where it refuses them with those.
std::optional<std::vector<std::string>> make_rate_words(const SignalSet& set,
                                                        const std::string& source) {
    const std::vector<double> times = list_times(set);
    if (tell_rate(times, set, source)) {
        return std::vector<std::string>();
    }
    if (find_contradiction(times, *set.sample_rate, FIRST_ROW)) {
        return std::nullopt;
    }
    return std::vector<std::string>{"--rate", fmt::format("{}", *set.sample_rate)};
}

// Not for sets in several groups, nor for those in the root: import makes one group.
std::vector<std::string> make_import_words(std::span<const SignalSet> sets,
                                           const std::string& source,
                                           const ExportOptions& options) {
    const SignalSet& first = sets.front();
    const std::string group = split_last(first.path).first;
    if (group.empty() || !is_in_one_group(sets) || !std::ranges::all_of(sets, can_be_named) ||
        !first.sample_rate || first.line_length() == 0) {
        return {};
    }
    const auto rate_words = make_rate_words(first, source);
    if (!rate_words) {
        return {};
    }
    std::vector<std::string> words = {"--group", group};
    words.insert(words.end(), rate_words->begin(), rate_words->end());
    for (const SignalSet& set : sets) {
        words.insert(words.end(), {"--set", format_set_of_columns(set, options)});
    }
    return words;
}

// ---------------------------------------------------------------------------

void append_row(std::string& text, double time, std::uint64_t row,
                std::span<const Column> columns) {
    fmt::format_to(std::back_inserter(text), "{}", time);
    for (const Column& column : columns) {
        text += ',';
        std::visit([&](const auto& samples) { append_sample(text, samples[row]); }, column.samples);
    }
    text += '\n';
}

void write_rows(const SignalSet& times, std::span<const Column> columns, std::string text,
                const std::function<void(std::string_view)>& write) {
    for (std::uint64_t row = 0; row < times.line_length(); ++row) {
        append_row(text, times.time_of(row), row, columns);
        if (text.size() >= PIECE_BYTES) {
            write(text);
            text.clear();
        }
    }
    write(text);
}

bool is_missing_throughout(const Column& column) {
    return std::visit(
        [](const auto& samples) {
            return std::ranges::all_of(samples, [](auto sample) { return is_missing(sample); });
        },
        column.samples);
}

ExportReport make_report(std::span<const SignalSet> sets, std::span<const Column> columns,
                         const std::string& source, const ExportOptions& options) {
    ExportReport report;
    report.row_count = sets.front().line_length();
    report.import_words = make_import_words(sets, source, options);
    for (const SignalSet& set : sets) {
        if (!keeps_names(set, options)) {
            report.renamed.push_back(set.path);
        }
    }
    for (const Column& column : columns) {
        report.columns.push_back(column.name);
        if (is_missing_throughout(column)) {
            report.warnings.push_back(fmt::format(
                "{}: column '{}' is empty: all of its samples are missing", source, column.name));
            report.import_words.clear();
        }
    }
    return report;
}

} // namespace

ExportReport export_sets(std::span<const SignalSet> sets, const std::string& source,
                         const std::function<void(std::string_view)>& write,
                         const ExportOptions& options) {
    check_alike(sets, source);
    const std::string first = sets.front().sample_rate ? TIMES_NAME : "Sample";
    const std::vector<Column> columns = make_columns(sets, options);
    check_names(first, columns, source);
    std::vector<std::string> names = {first};
    for (const Column& column : columns) {
        names.push_back(quote_field(column.name));
    }
    write_rows(sets.front(), columns, join_texts(names, ",") + "\n", write);
    return make_report(sets, columns, source, options);
}

} // namespace talvora::host
