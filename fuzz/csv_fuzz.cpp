// Reads the input as a table and imports it into a tree; what came in is exported, and
// comes in again as the same samples.
#include "fuzz/choices.h"
#include "fuzz/finding.h"
#include "fuzz/same_bits.h"
#include "host/tables/csv_export.h"
#include "host/tables/csv_reader.h"
#include "host/tables/table_import.h"
#include "host/text/failure.h"
#include "host/tree/memory_tree.h"
#include "host/tree/signal_set.h"

#include <cmath>
#include <limits>
#include <optional>
#include <string>

namespace {

using namespace talvora::fuzz;
using namespace talvora::host;

constexpr char SOURCE[] = "t.csv";
// A row may stand for a thousand samples.
constexpr std::size_t MOST_CELLS = 2000;

// --- the table

bool fits_sample(double value) {
    return !std::isfinite(value) ||
           std::abs(value) <= static_cast<double>(std::numeric_limits<float>::max());
}

void check_column(const NumberColumn& column, std::size_t first_row, std::size_t row_count) {
    if (column.values.size() != row_count) {
        report_finding("a column has another number of rows than its table");
    }
    const auto missing =
        std::ranges::count_if(column.values, [](double value) { return std::isnan(value); });
    if (static_cast<std::size_t>(missing) != column.missing_count) {
        report_finding("the missing cells of a column are miscounted");
    }
    if (!std::ranges::all_of(column.values, fits_sample)) {
        report_finding("a cell holds more than a sample can");
    }
    const bool has_first =
        column.first_missing_row >= first_row && column.first_missing_row < first_row + row_count;
    if (has_first != (missing > 0) || column.name.empty()) {
        report_finding("a column is told of wrongly");
    }
}

std::optional<NumberTable> parse(std::string_view text) {
    try {
        NumberTable table = parse_csv(text, SOURCE);
        for (const NumberColumn& column : table.columns) {
            check_column(column, table.first_row, table.row_count);
        }
        return table;
    } catch (const Failure&) {
        return std::nullopt;
    }
}

// --- the sets

// What an import is asked for; the columns are those of the table.
struct Wishes {
    std::optional<double> sample_rate;
    bool first_is_time;
    bool wants_set;
};

Wishes make_wishes(Choices& choices) {
    constexpr double RATES[] = {100.0, 33.3, 0.5, 0.0, 1e300};
    const double rate = pick(choices, RATES);
    return {choices.ConsumeBool() ? std::optional(rate) : std::nullopt, one_in(choices, 4),
            one_in(choices, 4)};
}

ImportOptions make_options(const Wishes& wishes, const NumberTable& table) {
    ImportOptions options{.sets = {}, .sample_rate = wishes.sample_rate, .time_column = {}};
    if (wishes.first_is_time) {
        options.time_column = table.columns.front().name;
    }
    if (wishes.wants_set) {
        options.sets.push_back({"Set", {table.columns.back().name, table.columns.front().name}});
    }
    return options;
}

std::optional<ImportReport> import(const NumberTable& table, const ImportOptions& options,
                                   MemoryTree& tree) {
    try {
        return import_table(table, options, tree, SOURCE);
    } catch (const Failure&) {
        return std::nullopt;
    } catch (const TreeError&) {
        return std::nullopt; // names that no tree holds
    }
}

std::vector<SignalSet> read_sets(MemoryTree& tree, const ImportReport& report) {
    std::vector<SignalSet> sets;
    for (const std::string& path : report.sets) {
        sets.push_back(read_signal_set(tree, path));
        const Extents& extents = sets.back().extents;
        if (extents.size() != 3 || extents[1] != 1 || extents[2] != report.sample_count) {
            report_finding("an imported set has another shape than reported");
        }
    }
    return sets;
}

// --- and back

void check_way_back(const std::vector<SignalSet>& sets) {
    std::string text;
    std::optional<ExportReport> report;
    try {
        report = export_sets(sets, SOURCE, [&](std::string_view piece) { text += piece; });
    } catch (const Failure&) {
        return; // two columns of one name
    }
    const auto table = parse(text);
    if (!table || table->columns.size() != report->columns.size() + 1) {
        report_finding("an exported table does not read back");
    }
    std::size_t column = 0;
    for (const SignalSet& set : sets) {
        for (std::size_t line = 0; line < set.line_count(); ++line) {
            const std::vector<double>& values = table->columns[++column].values;
            if (!std::ranges::equal(set.line(line), values, [](float sample, double value) {
                    return same_bits(sample, static_cast<float>(value)) ||
                           (std::isnan(sample) && std::isnan(value));
                })) {
                report_finding("an exported column does not read back: " +
                               table->columns[column].name);
            }
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    const Wishes wishes = make_wishes(choices);
    const auto table = parse(choices.ConsumeRemainingBytesAsString());
    if (!table || table->row_count * table->columns.size() > MOST_CELLS) {
        return 0;
    }
    MemoryTree tree;
    const auto report = import(*table, make_options(wishes, *table), tree);
    if (!report) {
        return 0;
    }
    if (const auto sets = read_sets(tree, *report); !sets.empty()) {
        check_way_back(sets);
    }
    return 0;
}
