// Where the table stands in a text: what recorders and spreadsheets put around it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// What is known of a text without looking.
struct CsvChoice {
    bool decimal_comma = false;           // numbers are written "0,5"
    std::optional<std::size_t> names_row; // which row holds the names; what is above is no table
    bool has_units_row = false;           // the row below the names holds their units
    std::vector<double> missing = {};     // numbers that stand for missing ones
};

// Rows are counted as a spreadsheet does, blank ones included.
struct CsvLayout {
    char delimiter = ',';
    std::size_t begin = 0; // of the row of names, in bytes
    std::size_t names_row = 1;
    bool has_units_row = false;
};

// The delimiter is the one of ',', ';' and tab that the row of names holds most of; a first row
// "sep=;" names it. The names stand in the first row unless rows of another width, of names first
// and then of at least one more, are more than those as wide as it: what is above the first of them
// is no table then. A row below the names without any number holds units where the one of a
// column of times is a unit of time.
//
// Throws a Failure of the input for a row without numbers, above all samples, that could be units
// or names, and of usage for a row of names that is not there.
CsvLayout find_layout(std::string_view text, const CsvChoice& choice, const std::string& source);

} // namespace talvora::host
