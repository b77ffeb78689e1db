#include "host/tables/number_table.h"

#include "host/tables/cell_words.h"
#include "host/tables/column_name.h"
#include "host/tables/iso_time.h"
#include "host/tables/sample_text.h"
#include "host/text/ascii.h"
#include "host/text/failure.h"
#include "host/text/utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <set>
#include <string_view>

namespace talvora::host {
namespace {

// Names and units go into texts of the file.
void check_encoding(std::string_view text, std::string_view what, std::size_t column,
                    const std::string& source) {
    if (const auto at = find_invalid_utf8(text)) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: the {} of column {} is no UTF-8: byte {:#04x}", source, what,
                                  column, static_cast<unsigned char>(text[*at])),
                      {"save it as UTF-8, or: iconv -f LATIN1 -t UTF-8 FILE > UTF8_FILE"});
    }
}

void check_names(std::span<const std::string> names, const std::string& source) {
    if (is_row_of_samples(names)) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: the first row holds numbers, no column names", source),
                      {"put a row of names in front, such as Time (s),X,Y,Z"});
    }
    std::set<std::string> seen;
    for (const std::string& name : names) {
        if (name.empty()) {
            throw Failure(ExitCode::Input, fmt::format("{}: column {} of {} has no name", source,
                                                       seen.size() + 1, names.size()));
        }
        if (name.find('\0') != std::string::npos) {
            throw Failure(
                ExitCode::Input,
                fmt::format("{}: the name of column {} holds a zero byte", source, seen.size() + 1),
                {"is it UTF-8? other encodings are not read"});
        }
        check_encoding(name, "name", seen.size() + 1, source);
        if (!seen.insert(name).second) {
            throw Failure(ExitCode::Input, fmt::format("{}: two columns named '{}'", source, name));
        }
    }
}

// "1,500", but not "0,500".
bool could_be_thousands(std::string_view text) {
    const std::size_t comma = text.find(',');
    const std::string_view front = text.substr(0, comma);
    return comma + 4 == text.size() && !front.empty() && front.size() <= 3 && front != "0" &&
           std::ranges::all_of(front, is_digit);
}

// Written with a comma in the place of the point.
std::optional<double> parse_with_comma(std::string text) {
    if (const std::size_t comma = text.find(','); comma != std::string::npos) {
        text[comma] = '.';
    }
    return parse_sample(text);
}

void note_comma(NumberTable& table, const NumberColumn& column, const std::string& text,
                std::size_t row_number) {
    if (text.find(',') == std::string::npos || !parse_with_comma(text)) {
        return;
    }
    CommaCells& cells = table.comma_cells;
    if (cells.count++ == 0) {
        cells.first_row = row_number;
        cells.first_column = column.name;
        cells.first_text = text;
    }
    cells.could_be_thousands = cells.could_be_thousands && could_be_thousands(text);
}

// As long as all cells of the column are dates, with a zone or without.
void note_date(NumberColumn& column, const std::string& text) {
    if (column.dates.size() + 1 != column.values.size()) {
        return;
    }
    const std::optional<IsoTime> date = parse_iso_time(text);
    if (date && (column.dates.empty() || date->has_zone == column.dates_have_zone)) {
        column.dates.push_back(date->seconds);
        column.dates_have_zone = date->has_zone;
    } else {
        column.first_undated_text = text;
    }
}

// A cell of a table whose numbers have a decimal comma.
std::optional<double> read_with_comma(const NumberColumn& column, const std::string& text,
                                      std::size_t row_number, const std::string& source) {
    if (text.find('.') != std::string::npos && parse_sample(text)) {
        throw Failure(
            ExitCode::Input,
            fmt::format("{}: row {}, column '{}': '{}' has a decimal point, other numbers have a "
                        "decimal comma",
                        source, row_number, column.name, text),
            {"write all numbers alike"});
    }
    return parse_with_comma(text);
}

void add_cell(NumberTable& table, NumberColumn& column, const std::string& text,
              std::size_t row_number, const std::string& source) {
    const std::optional<double> value = table.decimal_sign == '.'
                                            ? parse_sample(text)
                                            : read_with_comma(column, text, row_number, source);
    column.values.push_back(value.value_or(std::numeric_limits<double>::quiet_NaN()));
    note_date(column, text);
    if (value) {
        return;
    }
    if (const auto number = without_separators(text)) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: row {}, column '{}': '{}' has separators between thousands "
                                  "(allowed: {})",
                                  source, row_number, column.name, text, *number),
                      {"write all numbers without them"});
    }
    note_comma(table, column, text, row_number);
    if (column.missing_count++ == 0) {
        column.first_missing_row = row_number;
        column.first_missing_text = text;
    }
}

} // namespace

NumberTable make_table(std::span<const std::string> names, const std::string& source) {
    check_names(names, source);
    NumberTable table;
    for (const std::string& name : names) {
        table.columns.push_back({.name = name, .values = {}, .first_missing_text = {}});
    }
    return table;
}

void add_row(NumberTable& table, std::span<const std::string> cells, const std::string& source) {
    const std::size_t row_number = table.first_row + table.row_count++;
    if (cells.size() > table.columns.size()) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: row {} has {} fields, the row of names {}", source,
                                  row_number, cells.size(), table.columns.size()));
    }
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        add_cell(table, table.columns[i], i < cells.size() ? cells[i] : std::string(), row_number,
                 source);
    }
}

void set_units(NumberTable& table, std::span<const std::string> cells, const std::string& source) {
    for (std::size_t i = 0; i < std::min(cells.size(), table.columns.size()); ++i) {
        NumberColumn& column = table.columns[i];
        check_encoding(cells[i], "unit", i + 1, source);
        column.unit = without_brackets(cells[i]);
        const auto named = split_unit(column.name).unit;
        if (named && !column.unit.empty() && *named != column.unit) {
            throw Failure(ExitCode::Input,
                          fmt::format("{}: column '{}' has the unit '{}' in the row of units",
                                      source, column.name, column.unit),
                          {"leave one of them out of the table"});
        }
    }
}

} // namespace talvora::host
