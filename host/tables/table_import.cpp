#include "host/tables/table_import.h"

#include "host/tables/column_name.h"
#include "host/tables/csv_reader.h"
#include "host/tables/time_column.h"
#include "host/tables/time_grid.h"
#include "host/text/failure.h"
#include "host/text/join_texts.h"
#include "host/text/nearest_text.h"
#include "host/text/plural.h"
#include "host/tree/line_names.h"
#include "host/tree/number_attribute.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <map>
#include <numeric>
#include <set>
#include <span>
#include <string_view>
#include <unordered_map>

namespace talvora::host {
namespace {

constexpr float NaN = std::numeric_limits<float>::quiet_NaN();

// Rows that stand further from their times, or more of them left out, make no recording on a grid.
constexpr double MAX_DRIFT_SAMPLES = 0.5;
constexpr double MAX_SHARE_LEFT_OUT = 0.01;

// The columns of a table by their names, of which there may be very many.
class ColumnsByName {
  public:
    ColumnsByName(const NumberTable& table, const std::string& source)
        : table_(table), source_(source) {
        for (const NumberColumn& column : table.columns) {
            columns_.emplace(column.name, &column);
        }
    }

    const NumberColumn& find(const std::string& name) const {
        const auto column = columns_.find(name);
        if (column == columns_.end()) {
            refuse(name);
        }
        return *column->second;
    }

  private:
    [[noreturn]] void refuse(const std::string& name) const {
        std::vector<std::string> known;
        std::ranges::transform(table_.columns, std::back_inserter(known), &NumberColumn::name);
        const std::string hint = suggest_nearest(name, known);
        throw Failure(
            ExitCode::Usage,
            fmt::format("{}: no column '{}' (known: {})", source_, name, join_texts(known)),
            hint.empty() ? std::vector<std::string>() : std::vector{hint});
    }

    const NumberTable& table_;
    const std::string& source_;
    std::unordered_map<std::string_view, const NumberColumn*> columns_;
};

// Other than step by step; a rate is that of the grid then.
bool wants_placement(const ImportOptions& options) {
    return options.placement != Placement::Steps;
}

// Null where the rows are placed by a rate.
const NumberColumn* find_time_column(const NumberTable& table, const ColumnsByName& columns,
                                     const ImportOptions& options, const std::string& source) {
    if (options.time_column) {
        return &columns.find(*options.time_column);
    }
    if (options.sample_rate && !wants_placement(options)) {
        return nullptr;
    }
    auto column = std::ranges::find_if(
        table.columns, [](const NumberColumn& candidate) { return is_named_time(candidate.name); });
    if (column == table.columns.end() &&
        std::ranges::count_if(table.columns, &NumberColumn::holds_dates) == 1) {
        column = std::ranges::find_if(table.columns, &NumberColumn::holds_dates);
    }
    if (column == table.columns.end()) {
        throw Failure(
            ExitCode::Usage,
            fmt::format("{}: {}", source,
                        options.sample_rate ? "no time column, which --grid needs"
                                            : "neither a sample rate nor a time"),
            {options.sample_rate ? "name it: --time COLUMN" : "give --rate HZ or --time COLUMN"});
    }
    return &*column;
}

TimeGrid make_uniform_grid(double sample_rate, std::uint64_t row_count) {
    TimeGrid grid{.sample_rate = sample_rate, .sample_count = row_count, .sample_of_row = {}};
    grid.sample_of_row.resize(row_count);
    std::iota(grid.sample_of_row.begin(), grid.sample_of_row.end(), 0);
    return grid;
}

// '/' parts the names of a path, '.' and '..' are steps in one.
std::string make_safe_name(std::string name) {
    std::ranges::replace(name, '/', '_');
    return name == "." || name == ".." ? "_" : name;
}

// The name of the set that a column becomes; another one than its own is told.
std::string choose_name(const NumberColumn& column, const std::string& source,
                        ImportReport& report) {
    std::string name = make_safe_name(column.name);
    if (name != column.name) {
        report.infos.push_back(
            fmt::format("{}: column '{}' becomes the set '{}'", source, column.name, name));
    }
    return name;
}

void refuse_same_names(std::span<const SetOfColumns> sets, const std::string& source) {
    std::map<std::string, std::string> columns;
    for (const SetOfColumns& set : sets) {
        const auto [first, is_new] = columns.emplace(set.name, set.columns.front());
        if (!is_new) {
            throw Failure(ExitCode::Input,
                          fmt::format("{}: the columns '{}' and '{}' would both make the set '{}'",
                                      source, first->second, set.columns.front(), set.name),
                          {"name the sets: --set NAME=COLUMN --set NAME=COLUMN"});
        }
    }
}

std::vector<SetOfColumns> choose_sets(const NumberTable& table, const ImportOptions& options,
                                      const NumberColumn* time, const std::string& source,
                                      ImportReport& report) {
    if (!options.sets.empty()) {
        return options.sets;
    }
    std::vector<SetOfColumns> sets;
    for (const NumberColumn& column : table.columns) {
        if (&column == time) {
            continue;
        }
        if (!column.holds_numbers()) {
            report.warnings.push_back(fmt::format("{}: column '{}' holds no number and is left out",
                                                  source, column.name));
            continue;
        }
        sets.push_back({choose_name(column, source, report), {column.name}});
    }
    if (sets.empty()) {
        throw Failure(ExitCode::Input, fmt::format("{}: no column with numbers", source),
                      {"numbers have a decimal point; columns are parted by ',', ';' or a tab"});
    }
    refuse_same_names(sets, source);
    return sets;
}

void report_missing_cells(const NumberColumn& column, const std::string& source,
                          ImportReport& report) {
    if (column.missing_count > 0) {
        report.warnings.push_back(fmt::format(
            "{}: column '{}': {} of {} cells hold no number, NaN stands there (first in row {}: "
            "'{}')",
            source, column.name, column.missing_count, column.values.size(),
            column.first_missing_row, column.first_missing_text));
    }
}

// One line of samples: what the rows hold, NaN where the grid has no row.
void place_column(const NumberColumn& column, const TimeGrid& grid, std::span<float> samples) {
    std::ranges::fill(samples, NaN);
    for (std::size_t row = grid.sample_of_row.size(); row-- > 0;) {
        if (grid.sample_of_row[row] != LEFT_OUT) {
            samples[grid.sample_of_row[row]] = static_cast<float>(column.values[row]);
        }
    }
}

// One line of samples on straight lines between the rows.
void interpolate_column(const NumberColumn& column, const TimeGrid& grid,
                        std::span<float> samples) {
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const auto [row, share] = grid.between_rows[i];
        const double value = column.values[row];
        samples[i] = static_cast<float>(
            share == 0 ? value : value + (column.values[row + 1] - value) * share);
    }
}

void fill_line(const NumberColumn& column, const TimeGrid& grid, std::span<float> samples) {
    if (grid.between_rows.empty()) {
        place_column(column, grid, samples);
    } else {
        interpolate_column(column, grid, samples);
    }
}

// ---------------------------------------------------------------------------
// What the components are called

struct ComponentNames {
    std::vector<std::string> labels;
    std::vector<std::string> units; // may be empty
};

// An exported table calls the component X of the set Rate "Rate.X".
std::string_view without_set_name(std::string_view label, const std::string& set_name) {
    const std::string beginning = fmt::format("{}.", set_name);
    return label.size() > beginning.size() && label.starts_with(beginning)
               ? label.substr(beginning.size())
               : label;
}

ComponentNames split_units(const SetOfColumns& set, const ColumnsByName& columns) {
    ComponentNames names;
    for (const std::string& column : set.columns) {
        const ColumnName split = split_unit(column);
        const bool has_both = !split.name.empty() && split.unit && !split.unit->empty();
        names.labels.emplace_back(
            without_set_name(has_both ? split.name : std::string_view(column), set.name));
        const std::string& unit = columns.find(column).unit;
        names.units.emplace_back(has_both && unit.empty() ? *split.unit : unit);
    }
    return names;
}

// Columns such as "Force (left)", "Force (right)" differ in what is no unit then.
ComponentNames name_components(const SetOfColumns& set, const ColumnsByName& columns) {
    ComponentNames names = split_units(set, columns);
    const std::set<std::string_view> different(names.labels.begin(), names.labels.end());
    if (different.size() < names.labels.size()) {
        names.labels = set.columns;
        std::ranges::transform(set.columns, names.units.begin(), [&](const std::string& column) {
            return columns.find(column).unit;
        });
    }
    return names;
}

bool are_alike(std::span<const std::string> texts) {
    return std::ranges::all_of(texts, [&](const auto& text) { return text == texts.front(); });
}

void write_names(const SetOfColumns& set, const ColumnsByName& columns, DataTree& tree,
                 ObjectId id) {
    const ComponentNames names = name_components(set, columns);
    const Extents extents = {set.columns.size()};
    if (names.labels != std::vector{set.name}) {
        tree.write_attribute(id, LABELS_ATTRIBUTE, TextArray{names.labels, extents});
    }
    if (!are_alike(names.units)) {
        tree.write_attribute(id, UNIT_ATTRIBUTE, TextArray{names.units, extents});
    } else if (!names.units.front().empty()) {
        tree.write_attribute(id, UNIT_ATTRIBUTE, names.units.front());
    }
}

// ---------------------------------------------------------------------------

void write_set(const SetOfColumns& set, const ColumnsByName& columns, const TimeGrid& grid,
               DataTree& tree, ObjectId group, const std::string& source, ImportReport& report) {
    std::vector<float> samples(set.columns.size() * grid.sample_count);
    const std::span<float> all(samples);
    for (std::size_t i = 0; i < set.columns.size(); ++i) {
        const NumberColumn& column = columns.find(set.columns[i]);
        if (!column.holds_numbers()) {
            throw Failure(ExitCode::Input,
                          fmt::format("{}: column '{}' holds no number (first cell: '{}')", source,
                                      column.name, column.first_missing_text),
                          {"numbers have a decimal point, whatever the locale"});
        }
        report_missing_cells(column, source, report);
        fill_line(column, grid, all.subspan(i * grid.sample_count, grid.sample_count));
    }
    const Extents extents = {set.columns.size(), 1, grid.sample_count};
    const ObjectId id = tree.create_dataset(group, set.name, extents);
    tree.write(id, {.starts = Extents{0, 0, 0}, .counts = extents}, samples);
    tree.write_attribute(id, SAMPLE_RATE_ATTRIBUTE, static_cast<float>(grid.sample_rate));
    tree.write_attribute(id, START_TIME_ATTRIBUTE, grid.start_time);
    write_names(set, columns, tree, id);
    report.sets.push_back(tree.path(id));
}

// ---------------------------------------------------------------------------
// The grid

struct RowsLeftOut {
    std::uint64_t count = 0;
    std::size_t first_row = 0;
};

RowsLeftOut find_rows_left_out(const TimeGrid& grid, std::size_t first_row) {
    RowsLeftOut rows;
    for (std::size_t row = 0; row < grid.sample_of_row.size(); ++row) {
        if (grid.leaves_out(row) && rows.count++ == 0) {
            rows.first_row = row + first_row;
        }
    }
    return rows;
}

std::uint64_t count_empty_samples(const TimeGrid& grid, std::uint64_t left_out_count) {
    return grid.between_rows.empty()
               ? grid.sample_count - (grid.sample_of_row.size() - left_out_count)
               : static_cast<std::uint64_t>(std::ranges::count_if(
                     grid.between_rows, [](const auto& at) { return std::isnan(at.share); }));
}

void report_grid(const NumberColumn& time, const TimeGrid& grid, std::size_t first_row,
                 const ImportOptions& options, const std::string& source, ImportReport& report) {
    const RowsLeftOut left_out = find_rows_left_out(grid, first_row);
    if (time.holds_dates() && !time.dates_have_zone) {
        report.infos.push_back(
            fmt::format("{}: '{}' tells no zone and is taken as UTC", source, time.name));
    }
    const bool is_linear = options.placement == Placement::Linear;
    report.infos.push_back(fmt::format(
        "{}: {} by '{}' {} {} at {:.6g} Hz; {} {}, NaN there", source,
        count_things(time.values.size() - left_out.count, "row"), time.name,
        is_linear ? "interpolated to" : "on", count_things(grid.sample_count, "sample"),
        grid.sample_rate, count_things(count_empty_samples(grid, left_out.count), "sample"),
        is_linear ? fmt::format("between rows more than {} samples apart", options.max_gap_samples)
                  : "without a row"));
    if (left_out.count > 0) {
        report.warnings.push_back(fmt::format("{}: {} left out, {} (first: row {})", source,
                                              count_things(left_out.count, "row"),
                                              options.placement == Placement::Nearest
                                                  ? "another one is nearer to the same sample"
                                                  : "less than half a sample after the row before",
                                              left_out.first_row));
    }
}

Failure explain_misplacement(const std::string& text) {
    return {ExitCode::Input,
            text,
            {"--grid nearest places each row at its nearest sample, --grid linear interpolates "
             "between the rows",
             "--rate HZ leaves the times aside: rows are equally spaced then"}};
}

void refuse_many_left_out(const TimeGrid& grid, std::size_t first_row, const std::string& source) {
    const RowsLeftOut left_out = find_rows_left_out(grid, first_row);
    const auto row_count = static_cast<double>(grid.sample_of_row.size());
    const double share = static_cast<double>(left_out.count) / row_count;
    if (share > MAX_SHARE_LEFT_OUT) {
        throw explain_misplacement(fmt::format(
            "{}: {} of {} ({:.2g} %) less than half a sample after the row before, first row {} "
            "(allowed: {} %), on a grid of {:.6g} Hz",
            source, left_out.count, count_things(grid.sample_of_row.size(), "row"), 100 * share,
            left_out.first_row, 100 * MAX_SHARE_LEFT_OUT, grid.sample_rate));
    }
}

// Rows are placed step by step, so where the rate changes they drift from their times.
void refuse_drift(std::span<const double> times, const TimeGrid& grid, std::size_t first_row,
                  const std::string& source) {
    double largest = 0;
    std::size_t at_row = 0;
    for (std::size_t row = 0; row < grid.sample_of_row.size(); ++row) {
        const double distance = std::abs(times[row] - grid.time_of(grid.sample_of_row[row]));
        if (distance > largest && !grid.leaves_out(row)) {
            largest = distance;
            at_row = row;
        }
    }
    if (largest * grid.sample_rate > MAX_DRIFT_SAMPLES) {
        throw explain_misplacement(fmt::format(
            "{}: row {}, at {:.9g} s, stands {:.3g} samples ({:.3g} s) from its place on a grid of "
            "{:.6g} Hz (allowed: {} samples): the rows are not equally spaced",
            source, at_row + first_row, times[at_row], largest * grid.sample_rate, largest,
            grid.sample_rate, MAX_DRIFT_SAMPLES));
    }
}

TimeGrid place_rows(const NumberColumn& time, std::size_t first_row, const ImportOptions& options,
                    const std::string& source, ImportReport& report) {
    const std::vector<double> times = read_seconds(time, first_row, source);
    const TimeGrid grid = place_on_grid(times, source,
                                        {.placement = options.placement,
                                         .sample_rate = options.sample_rate,
                                         .max_gap_samples = options.max_gap_samples,
                                         .first_row = first_row});
    if (!wants_placement(options)) {
        refuse_many_left_out(grid, first_row, source);
        refuse_drift(times, grid, first_row, source);
    }
    report_grid(time, grid, first_row, options, source, report);
    return grid;
}

void refuse_bad_options(const ImportOptions& options, const std::string& source) {
    if (options.sample_rate && !(*options.sample_rate > 0 && std::isfinite(*options.sample_rate))) {
        throw Failure(ExitCode::Usage,
                      fmt::format("--rate {}: a sample rate is greater than 0 Hz and finite",
                                  *options.sample_rate));
    }
    if (options.sample_rate && options.time_column && !wants_placement(options)) {
        throw Failure(
            ExitCode::Usage,
            fmt::format("{}: the sample rate and the time column exclude each other", source),
            {"give --rate HZ or --time COLUMN"});
    }
    if (!(options.max_gap_samples > 0 && std::isfinite(options.max_gap_samples))) {
        throw Failure(ExitCode::Usage,
                      fmt::format("--max-gap {}: a number of samples is greater than 0 and finite",
                                  options.max_gap_samples));
    }
    std::set<std::string> seen;
    for (const SetOfColumns& set : options.sets) {
        if (!seen.insert(set.name).second) {
            throw Failure(ExitCode::Usage, fmt::format("--set: two sets named '{}'", set.name));
        }
    }
}

} // namespace

SetOfColumns parse_set_of_columns(std::string_view text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos || equals == 0 || equals + 1 == text.size()) {
        throw Failure(ExitCode::Usage,
                      fmt::format("--set '{}': not of the form NAME=COLUMN,...", text));
    }
    SetOfColumns set{std::string(text.substr(0, equals)),
                     split_csv_row(text.substr(equals + 1), ',')};
    if (make_safe_name(set.name) != set.name) {
        throw Failure(ExitCode::Usage,
                      fmt::format("--set '{}': a set's name holds no '/'", set.name),
                      {"the group is given with --group"});
    }
    return set;
}

ImportReport import_table(const NumberTable& table, const ImportOptions& options, DataTree& tree,
                          const std::string& source) {
    refuse_bad_options(options, source);
    ImportReport report;
    for (const std::string& note : table.notes) {
        report.infos.push_back(fmt::format("{}: {}", source, note));
    }
    const ColumnsByName columns(table, source);
    const NumberColumn* time = find_time_column(table, columns, options, source);
    const TimeGrid grid = time != nullptr
                              ? place_rows(*time, table.first_row, options, source, report)
                              : make_uniform_grid(*options.sample_rate, table.row_count);
    report.sample_count = grid.sample_count;
    report.sample_rate = grid.sample_rate;
    const ObjectId group = tree.create_group(tree.root(), options.group);
    for (const SetOfColumns& set : choose_sets(table, options, time, source, report)) {
        write_set(set, columns, grid, tree, group, source, report);
    }
    tree.write_attribute(group, SAMPLE_RATE_ATTRIBUTE, static_cast<float>(grid.sample_rate));
    tree.write_attribute(group, "NumSamples", static_cast<float>(grid.sample_count));
    return report;
}

} // namespace talvora::host
