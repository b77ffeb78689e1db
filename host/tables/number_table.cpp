#include "host/tables/number_table.h"

#include "host/tables/sample_text.h"
#include "host/text/failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <set>

namespace talvora::host {
namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

void check_names(std::span<const std::string> names, const std::string& source) {
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
        if (!seen.insert(name).second) {
            throw Failure(ExitCode::Input, fmt::format("{}: two columns named '{}'", source, name));
        }
    }
    if (std::ranges::all_of(names,
                            [](const auto& name) { return parse_sample(name).has_value(); })) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: the first row holds numbers, no column names", source),
                      {"put a row of names in front, such as Time (s),X,Y,Z"});
    }
}

void add_cell(NumberColumn& column, const std::string& text, std::size_t row_number) {
    const std::optional<double> value = parse_sample(text);
    column.values.push_back(value.value_or(NaN));
    if (!value && column.missing_count++ == 0) {
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
    const std::size_t row_number = ++table.row_count + 1;
    if (cells.size() > table.columns.size()) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: row {} has {} fields, the row of names {}", source,
                                  row_number, cells.size(), table.columns.size()));
    }
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        add_cell(table.columns[i], i < cells.size() ? cells[i] : std::string(), row_number);
    }
}

} // namespace talvora::host
