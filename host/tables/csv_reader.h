// Tables of numbers from comma-separated text.
//
// A row names the columns; where it stands, and what parts the fields, tells csv_layout.h. A field
// in double quotes may hold the delimiter and line ends. A byte-order mark and either kind of line
// end are taken as they come. A blank line is no row, but in a table of one column, where it is a
// missing number unless it stands at the end. Numbers are written with a decimal point, whatever
// the locale, or all of them with a decimal comma, where that can be nothing else.
#pragma once

#include "host/tables/csv_layout.h"
#include "host/tables/number_table.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// The text of a file. Throws a Failure of the input when it cannot be read to its end.
std::string read_csv_text(const std::filesystem::path& file);

// Cells are taken as number_table.h tells. Throws a Failure of the input for what it refuses,
// when the file cannot be read, has no names or no rows, or ends inside a quoted field, and where
// it can be read in two ways.
NumberTable read_csv(const std::filesystem::path& file, const CsvChoice& choice = {});

// The same from text; `source` stands in messages.
NumberTable parse_csv(std::string_view text, const std::string& source,
                      const CsvChoice& choice = {});

// The fields of one row: "a,\"b,c\"" gives a and b,c.
std::vector<std::string> split_csv_row(std::string_view row, char delimiter);

} // namespace talvora::host
