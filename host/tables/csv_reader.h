// Tables of numbers from comma-separated text.
//
// The first row names the columns. Fields are parted by ',', ';' or a tab, whichever
// the first row holds most of; a field in double quotes may hold the delimiter and
// line ends. A byte-order mark, either kind of line end and blank lines are taken as
// they come. Numbers are written with a decimal point, whatever the locale.
#pragma once

#include "host/tables/number_table.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// Cells are taken as number_table.h tells. Throws a Failure of the input for what it refuses,
// and when the file cannot be read, has no names or no rows, or ends inside a quoted field.
NumberTable read_csv(const std::filesystem::path& file);

// The same from text; `source` stands in messages.
NumberTable parse_csv(std::string_view text, const std::string& source);

// The fields of one row: "a,\"b,c\"" gives a and b,c.
std::vector<std::string> split_csv_row(std::string_view row, char delimiter);

} // namespace talvora::host
