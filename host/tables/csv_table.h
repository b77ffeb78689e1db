// A table of numbers read from comma-separated text.
//
// The first row names the columns. Fields are parted by ',', ';' or a tab, whichever
// the first row holds most of; a field in double quotes may hold the delimiter and
// line ends. A byte-order mark, either kind of line end and blank lines are taken as
// they come. Numbers are written with a decimal point, whatever the locale.
//
// Rows are counted as a spreadsheet does: the row of names is row 1.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

struct CsvColumn {
    std::string name;
    std::vector<double> values; // NaN where a cell is missing
    std::size_t missing_count = 0;
    std::size_t first_missing_row = 0; // 0 when none is
    std::string first_missing_text;

    bool holds_numbers() const { return missing_count < values.size(); }
};

struct CsvTable {
    std::vector<CsvColumn> columns;
    std::size_t row_count = 0; // without the row of names
};

// Cells that are empty, no number, or too great for a 32-bit float become NaN and
// are counted per column. Throws a Failure of the input when the file cannot be
// read, has no names or no rows, names two columns alike, ends inside a quoted
// field, or holds a row longer than its names.
CsvTable read_csv(const std::filesystem::path& file);

// The same from text; `source` stands in messages.
CsvTable parse_csv(std::string_view text, const std::string& source);

// The fields of one row: "a,\"b,c\"" gives a and b,c.
std::vector<std::string> split_csv_row(std::string_view row, char delimiter);

} // namespace talvora::host
