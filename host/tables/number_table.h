// A table of numbers, whatever kind of file it is read from: named columns of one length.
//
// Rows are counted as a spreadsheet does: where nothing stands above the names, theirs is row 1.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace talvora::host {

struct NumberColumn {
    std::string name;
    std::string unit = {};      // of a row of units; empty without
    std::vector<double> values; // NaN where a cell is missing
    // Of as many cells as hold times of one kind from the first on (iso_time.h): seconds since
    // 1970.
    std::vector<double> dates = {};
    bool dates_have_zone = false;
    std::string first_undated_text = {};
    std::size_t missing_count = 0;
    std::size_t first_missing_row = 0; // 0 when none is
    std::string first_missing_text;

    bool holds_numbers() const { return missing_count < values.size(); }
    bool holds_dates() const { return !values.empty() && dates.size() == values.size(); }
};

// Cells that hold a number when ',' is the decimal sign, and none when it is '.'.
struct CommaCells {
    std::size_t count = 0;
    std::size_t first_row = 0;
    std::string first_column = {};
    std::string first_text = {};
    bool could_be_thousands = true; // all of them: "1,500"
};

// What may help people where no numbers are found, as the format of the file writes them.
struct NumberHints {
    std::vector<std::string> without_numbers = {}; // in any column
    std::vector<std::string> of_column_without_numbers = {};
};

struct NumberTable {
    std::vector<NumberColumn> columns;
    std::size_t row_count = 0;       // without the rows of names and units
    std::size_t first_row = 2;       // of the numbers
    std::size_t first_blank_row = 0; // between rows; 0 without, and with one column alone
    char decimal_sign = '.';
    CommaCells comma_cells = {};
    std::vector<std::string> notes = {}; // what people should know of how it was read
    NumberHints hints = {};
};

// A table without rows yet. Throws a Failure of the input, `source` in front, when a name is
// empty or holds a zero byte, two are the same or all are numbers or missing ones.
NumberTable make_table(std::span<const std::string> names, const std::string& source);

// Cells that are no samples (sample_text.h) become NaN and are counted per column, and so do
// those that the row lacks at its end. Throws a Failure of the input for a row that is longer
// than the names, for a number with a decimal point where a comma is the sign, and for one with
// separators between thousands.
void add_row(NumberTable& table, std::span<const std::string> cells, const std::string& source);

// The units of the columns, in brackets or without. Throws a Failure of the input where a name
// tells another one in brackets.
void set_units(NumberTable& table, std::span<const std::string> cells, const std::string& source);

} // namespace talvora::host
