// A table of numbers, whatever kind of file it is read from: named columns of one length.
//
// Rows are counted as a spreadsheet does: the row of names is row 1.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace talvora::host {

struct NumberColumn {
    std::string name;
    std::vector<double> values; // NaN where a cell is missing
    std::size_t missing_count = 0;
    std::size_t first_missing_row = 0; // 0 when none is
    std::string first_missing_text;

    bool holds_numbers() const { return missing_count < values.size(); }
};

struct NumberTable {
    std::vector<NumberColumn> columns;
    std::size_t row_count = 0; // without the row of names
};

// A table without rows yet. Throws a Failure of the input, `source` in front, when a name is
// empty or holds a zero byte, two are the same or all are numbers.
NumberTable make_table(std::span<const std::string> names, const std::string& source);

// Cells that are no samples (sample_text.h) become NaN and are counted per column, and so do
// those that the row lacks at its end. Throws a Failure of the input for a row that is longer
// than the names.
void add_row(NumberTable& table, std::span<const std::string> cells, const std::string& source);

} // namespace talvora::host
