#include "host/tables/table_import.h"

#include "host/tables/component_names.h"
#include "host/tables/grid_samples.h"
#include "host/tables/missing_values.h"
#include "host/tables/row_placement.h"
#include "host/tables/signal_attributes.h"
#include "host/tables/time_column.h"
#include "host/tables/time_grid.h"
#include "host/text/failure.h"
#include "host/text/join_texts.h"
#include "host/text/nearest_text.h"
#include "host/text/quote_word.h"
#include "host/tree/sample_rounding.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <map>
#include <numeric>
#include <optional>
#include <set>
#include <span>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace talvora::host {
namespace {

constexpr float NaN = std::numeric_limits<float>::quiet_NaN();

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

    const NumberHints& hints() const { return table_.hints; }

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

// The empty name stands for no column.
bool has_time_column(const ImportOptions& options) {
    return options.time_column && !options.time_column->empty();
}

// The one that looks like a time; null where none does.
const NumberColumn* find_likely_time(const NumberTable& table) {
    auto column = std::ranges::find_if(
        table.columns, [](const NumberColumn& candidate) { return is_named_time(candidate.name); });
    if (column == table.columns.end() &&
        std::ranges::count_if(table.columns, &NumberColumn::holds_dates) == 1) {
        column = std::ranges::find_if(table.columns, &NumberColumn::holds_dates);
    }
    return column == table.columns.end() ? nullptr : &*column;
}

// Null where the rows are placed by a rate.
const NumberColumn* find_time_column(const NumberTable& table, const ColumnsByName& columns,
                                     const ImportOptions& options, const std::string& source) {
    if (has_time_column(options)) {
        return &columns.find(*options.time_column);
    }
    if (options.sample_rate && !wants_placement(options)) {
        return nullptr;
    }
    const NumberColumn* column = options.time_column ? nullptr : find_likely_time(table);
    if (column == nullptr) {
        throw Failure(
            ExitCode::Usage,
            fmt::format("{}: {}", source,
                        options.sample_rate ? "no time column, which --grid needs"
                                            : "neither a sample rate nor a time"),
            {options.sample_rate ? "name it: --time COLUMN" : "give --rate HZ or --time COLUMN"});
    }
    return column;
}

// Of the column beside a rate that looks like a time. What tells some times only, or tells them in
// another unit, cannot be held against the rate.
std::vector<double> read_times_beside(const NumberColumn& time, std::size_t first_row, double rate,
                                      const std::string& source) {
    try {
        return read_seconds(time, first_row, source);
    } catch (const Failure& failure) {
        throw Failure(failure.code(), failure.what(),
                      {fmt::format("--rate {:.6g} --time '' leaves the column aside", rate)});
    }
}

bool tells_times(const NumberColumn& column) {
    return column.holds_numbers() || !column.dates.empty();
}

// Rows that are equally spaced by a rate, beside a column of other times. Lost rows contradict it,
// too: those behind them would come too early.
void refuse_contradicting_times(std::span<const double> times, const NumberColumn& column,
                                double rate, std::size_t first_row, const std::string& source) {
    if (const auto contradiction = find_contradiction(times, rate, first_row)) {
        throw Failure(
            ExitCode::Input,
            fmt::format("{}: --rate {:.6g} contradicts the column '{}': {}", source, rate,
                        column.name, *contradiction),
            {fmt::format("--time {} without --rate places the rows by it", quote_word(column.name)),
             fmt::format("--rate {:.6g} --time '' leaves it aside", rate)});
    }
}

TimeGrid make_uniform_grid(double sample_rate, std::uint64_t row_count, double start_time) {
    TimeGrid grid{.start_time = start_time,
                  .sample_rate = sample_rate,
                  .sample_count = row_count,
                  .sample_of_row = {}};
    grid.sample_of_row.resize(row_count);
    std::iota(grid.sample_of_row.begin(), grid.sample_of_row.end(), 0);
    return grid;
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
    const NumberColumn* likely_time = time == nullptr ? find_likely_time(table) : time;
    for (const NumberColumn& column : table.columns) {
        if (&column == time) {
            continue;
        }
        if (&column == likely_time && table.columns.size() > 1) {
            report.infos.push_back(fmt::format("{}: column '{}' looks like a time and becomes "
                                               "no set (--set NAME={} makes it one)",
                                               source, column.name, quote_word(column.name)));
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
                      table.hints.without_numbers);
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

void report_likely_missing(const NumberColumn& column, const std::string& source,
                           ImportReport& report) {
    if (const auto likely = find_likely_missing(column)) {
        report.warnings.push_back(fmt::format(
            "{}: column '{}': {} of {} numbers are {}, the others lie between {:.6g} and {:.6g}; "
            "if it says that they are missing: --missing {}",
            source, column.name, likely->count, column.values.size() - column.missing_count,
            likely->number, likely->least, likely->greatest, likely->number));
    }
}

// Of finite numbers; those beyond all 32-bit floats are no numbers to a table.
void report_rounding(const NumberColumn& column, const std::string& source, ImportReport& report) {
    std::vector<float> rounded(column.values.size());
    const RoundingChange change = round_samples<double>(column.values, rounded);
    if (change.part_of_range() > LARGE_PART_OF_RANGE) {
        report.warnings.push_back(fmt::format(
            "{}: column '{}': numbers between {:.9g} and {:.9g} change by up to {:.3g} as 32-bit "
            "floats, {:.1e} of that range; subtract an offset in the table before",
            source, column.name, change.least, change.greatest, change.largest_change,
            change.part_of_range()));
    }
}

// One line of samples: of the rows, or on straight lines between them; NaN where there is none.
void fill_line(const NumberColumn& column, const TimeGrid& grid, std::span<float> samples) {
    const GridPart whole{.row_count = column.values.size(), .sample_count = samples.size()};
    std::ranges::fill(samples, NaN);
    if (grid.between_rows.empty()) {
        place_rows_of_part<float>(grid, whole, column.values, samples);
    } else {
        interpolate_part<float>(grid, whole, column.values, samples);
    }
}

// ---------------------------------------------------------------------------
// What the components are called

std::vector<std::string> list_units(const SetOfColumns& set, const ColumnsByName& columns) {
    std::vector<std::string> units;
    std::ranges::transform(set.columns, std::back_inserter(units),
                           [&](const std::string& column) { return columns.find(column).unit; });
    return units;
}

SignalAttributes describe_set(const SetOfColumns& set, const ColumnsByName& columns,
                              const TimeGrid& grid) {
    ComponentNames names = name_components(set.name, set.columns, list_units(set, columns));
    if (names.labels == std::vector{set.name}) {
        names.labels.clear();
    }
    return {.sample_rate = grid.sample_rate,
            .start_time = grid.start_time,
            .labels = std::move(names.labels),
            .units = std::move(names.units)};
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
                          columns.hints().of_column_without_numbers);
        }
        report_missing_cells(column, source, report);
        report_likely_missing(column, source, report);
        report_rounding(column, source, report);
        fill_line(column, grid, all.subspan(i * grid.sample_count, grid.sample_count));
    }
    const Extents extents = {set.columns.size(), 1, grid.sample_count};
    const ObjectId id = tree.create_dataset(group, set.name, extents);
    tree.write(id, {.starts = Extents{0, 0, 0}, .counts = extents}, samples);
    write_signal_attributes(tree, id, describe_set(set, columns, grid));
    report.sets.push_back(tree.path(id));
}

// ---------------------------------------------------------------------------
// The grid

GridChoice choose_grid(const ImportOptions& options, std::size_t first_row) {
    return {.placement = options.placement,
            .sample_rate = options.sample_rate,
            .max_gap_samples = options.max_gap_samples,
            .first_row = first_row};
}

TimeGrid place_by_times(const NumberColumn& time, std::size_t first_row,
                        const ImportOptions& options, const std::string& source,
                        ImportReport& report) {
    PlacedRows placed = place_rows(read_seconds(time, first_row, source), time.name,
                                   choose_grid(options, first_row), source);
    if (time.holds_dates() && !time.dates_have_zone) {
        report.infos.push_back(
            fmt::format("{}: '{}' tells no zone and is taken as UTC", source, time.name));
    }
    std::ranges::move(placed.infos, std::back_inserter(report.infos));
    std::ranges::move(placed.warnings, std::back_inserter(report.warnings));
    return std::move(placed.grid);
}

// The column of times beside the rate, if there is one, tells where the first row stands.
TimeGrid place_by_rate(const NumberTable& table, const ImportOptions& options,
                       const std::string& source) {
    const double rate = *options.sample_rate;
    const NumberColumn* column = options.time_column ? nullptr : find_likely_time(table);
    if (column == nullptr || !tells_times(*column)) {
        return make_uniform_grid(rate, table.row_count, 0);
    }
    const auto times = read_times_beside(*column, table.first_row, rate, source);
    refuse_contradicting_times(times, *column, rate, table.first_row, source);
    return make_uniform_grid(rate, table.row_count, times.front());
}

void refuse_bad_options(const ImportOptions& options, const std::string& source) {
    refuse_bad_grid(choose_grid(options, 0));
    if (options.sample_rate && has_time_column(options) && !wants_placement(options)) {
        throw Failure(
            ExitCode::Usage,
            fmt::format("{}: the sample rate and the time column exclude each other", source),
            {"give --rate HZ or --time COLUMN"});
    }
    std::set<std::string> seen;
    for (const SetOfColumns& set : options.sets) {
        if (!seen.insert(set.name).second) {
            throw Failure(ExitCode::Usage, fmt::format("--set: two sets named '{}'", set.name));
        }
    }
}

} // namespace

ImportReport import_table(const NumberTable& table, const ImportOptions& options, DataTree& tree,
                          const std::string& source) {
    refuse_bad_options(options, source);
    ImportReport report;
    for (const std::string& note : table.notes) {
        report.infos.push_back(fmt::format("{}: {}", source, note));
    }
    const ColumnsByName columns(table, source);
    const NumberColumn* time = find_time_column(table, columns, options, source);
    if (time == nullptr && table.first_blank_row != 0) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: row {} is blank: rows that are equally spaced have no room "
                                  "between them",
                                  source, table.first_blank_row),
                      {"take it out, or write it as a row of empty cells"});
    }
    const TimeGrid grid = time != nullptr
                              ? place_by_times(*time, table.first_row, options, source, report)
                              : place_by_rate(table, options, source);
    report.sample_count = grid.sample_count;
    report.sample_rate = grid.sample_rate;
    const ObjectId group = tree.create_group(tree.root(), options.group);
    for (const SetOfColumns& set : choose_sets(table, options, time, source, report)) {
        write_set(set, columns, grid, tree, group, source, report);
    }
    write_group_attributes(tree, group, grid.sample_rate, grid.sample_count);
    return report;
}

} // namespace talvora::host
