// Data sets as the columns of a table, as csv_reader.h and table_import.h read them.
//
// A column per line of each set, after a column of times in seconds ("Time (s)"), or of
// sample numbers ("Sample") where the sets have no sample rate. Columns are named after
// their sets, by the path below the group that all of them share, with the label of the line or
// its indices, and the unit: "Rate.X (deg/s)", "Rate[2]". Numbers are the shortest decimal text
// that reads back as the same sample: a 32-bit float, a double or an integer, as the set's are; a
// missing sample (NaN) is an empty cell.
#pragma once

#include "host/tree/signal_set.h"

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

struct ExportOptions {
    // A column's name that a spreadsheet would take for a formula, since it begins with = + - @, a
    // tab or a carriage return, gets an apostrophe in front.
    bool no_formulas = false;
};

struct ExportReport {
    std::vector<std::string> columns; // without the first
    std::uint64_t row_count = 0;
    std::vector<std::string> warnings;
    // The words behind `talvora-host import FILE.csv -o FILE.h5` that make the same sets of
    // it, in the shape [lines, 1, samples]; empty when one call cannot.
    std::vector<std::string> import_words;
    // Paths of the sets of which these words make other labels or units.
    std::vector<std::string> renamed;
};

// Writes the text piece by piece. Throws a Failure of the input, `source` in front, when
// the sets differ in rate, start or length, or two columns would have one name; nothing is
// written then.
ExportReport export_sets(std::span<const SignalSet> sets, const std::string& source,
                         const std::function<void(std::string_view)>& write,
                         const ExportOptions& options = {});

} // namespace talvora::host
