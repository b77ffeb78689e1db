#include "host/tables/csv_table.h"

#include "host/text/failure.h"
#include "host/text/quote_word.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <csv.h>
#include <exception>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <sstream>

namespace talvora::host {
namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
constexpr std::string_view HDF5_SIGNATURE = "\x89HDF\r\n\x1A\n";

using Row = std::vector<std::string>;
using RowReceiver = std::function<void(const Row&)>;

// What the parser's two callbacks share. An exception waits here until the parser,
// which is C, has returned.
struct RowCollector {
    Row row;
    RowReceiver receive;
    std::exception_ptr failure;

    static void add_field(void* text, std::size_t length, void* self) {
        static_cast<RowCollector*>(self)->row.emplace_back(static_cast<const char*>(text), length);
    }
    static void end_row(int, void* self) {
        auto* collector = static_cast<RowCollector*>(self);
        try {
            if (!collector->failure) {
                collector->receive(collector->row);
            }
        } catch (...) {
            collector->failure = std::current_exception();
        }
        collector->row.clear();
    }
};

void for_each_row(std::string_view text, char delimiter, const std::string& source,
                  RowReceiver receive) {
    csv_parser parser;
    csv_init(&parser, CSV_STRICT | CSV_STRICT_FINI);
    const std::unique_ptr<csv_parser, decltype(&csv_free)> cleanup(&parser, &csv_free);
    csv_set_delim(&parser, static_cast<unsigned char>(delimiter));
    RowCollector collector{{}, std::move(receive), {}};
    const std::size_t parsed = csv_parse(&parser, text.data(), text.size(), RowCollector::add_field,
                                         RowCollector::end_row, &collector);
    if (parsed != text.size()) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: a double quote inside a field at byte {}", source, parsed),
                      {"a field with double quotes stands in double quotes, its own doubled"});
    }
    if (csv_fini(&parser, RowCollector::add_field, RowCollector::end_row, &collector) != 0) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: the text ends inside a quoted field", source));
    }
    if (collector.failure) {
        std::rethrow_exception(collector.failure);
    }
}

// The first row without what stands in double quotes.
std::string take_unquoted_names(std::string_view text) {
    std::string names;
    bool is_quoted = false;
    for (const char c : text) {
        if (!is_quoted && (c == '\r' || c == '\n')) {
            break;
        }
        is_quoted ^= c == '"';
        if (!is_quoted) {
            names += c;
        }
    }
    return names;
}

char detect_delimiter(std::string_view text) {
    constexpr std::array<char, 3> candidates = {',', ';', '\t'};
    const std::string names = take_unquoted_names(text);
    return *std::ranges::max_element(
        candidates, {}, [&](char candidate) { return std::ranges::count(names, candidate); });
}

// The value, moved by its last digit where that makes it round to the float nearest to the
// text. A double halfway between two floats may stand for a text that is not, and would be
// rounded a second time, perhaps the wrong way.
double round_once(std::string_view text, double value) {
    constexpr std::uint64_t BELOW_A_FLOAT = (std::uint64_t{1} << 29) - 1;
    constexpr std::uint64_t HALFWAY = std::uint64_t{1} << 28;
    const bool is_normal =
        std::abs(value) >= static_cast<double>(std::numeric_limits<float>::min());
    if (is_normal && (std::bit_cast<std::uint64_t>(value) & BELOW_A_FLOAT) != HALFWAY) {
        return value;
    }
    float sample = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), sample);
    return result.ec == std::errc{} && static_cast<float>(value) != sample
               ? std::nextafter(value, static_cast<double>(sample))
               : value;
}

// A number beyond the greatest float, unless it still rounds to it: so does the shortest
// text of the greatest float itself.
std::optional<double> read_greatest(std::string_view text) {
    float sample = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), sample);
    return result.ec == std::errc{} ? std::optional(static_cast<double>(sample)) : std::nullopt;
}

// Nothing for a text that is no number or does not fit a sample.
std::optional<double> read_number(std::string_view text) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
    }
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || std::isnan(value)) {
        return std::nullopt;
    }
    const bool is_beyond = std::isfinite(value) &&
                           std::abs(value) > static_cast<double>(std::numeric_limits<float>::max());
    return is_beyond ? read_greatest(text) : round_once(text, value);
}

void add_cell(CsvColumn& column, const std::string& text, std::size_t row_number) {
    const std::optional<double> value = read_number(text);
    column.values.push_back(value.value_or(NaN));
    if (!value && column.missing_count++ == 0) {
        column.first_missing_row = row_number;
        column.first_missing_text = text;
    }
}

void set_columns(CsvTable& table, const Row& names, const std::string& source) {
    std::set<std::string> seen;
    for (const std::string& name : names) {
        if (name.empty() || !seen.insert(name).second) {
            throw Failure(ExitCode::Input,
                          name.empty() ? fmt::format("{}: column {} of {} has no name", source,
                                                     seen.size() + 1, names.size())
                                       : fmt::format("{}: two columns named '{}'", source, name));
        }
        table.columns.push_back(CsvColumn{.name = name, .values = {}, .first_missing_text = {}});
    }
    if (std::ranges::all_of(names,
                            [](const auto& name) { return read_number(name).has_value(); })) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: the first row holds numbers, no column names", source),
                      {"put a row of names in front, such as Time (s),X,Y,Z"});
    }
}

void add_row(CsvTable& table, const Row& row, const std::string& source) {
    const std::size_t row_number = ++table.row_count + 1;
    const bool ends_with_delimiter = row.size() == table.columns.size() + 1 && row.back().empty();
    if (row.size() > table.columns.size() && !ends_with_delimiter) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: row {} has {} fields, the row of names {}", source,
                                  row_number, row.size(), table.columns.size()));
    }
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        add_cell(table.columns[i], i < row.size() ? row[i] : std::string(), row_number);
    }
}

} // namespace

CsvTable parse_csv(std::string_view text, const std::string& source) {
    if (text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF")) {
        throw Failure(ExitCode::Input, fmt::format("{}: UTF-16 text, UTF-8 is read", source),
                      {"save it as UTF-8"});
    }
    if (text.starts_with(HDF5_SIGNATURE)) {
        throw Failure(ExitCode::Input, fmt::format("{}: an HDF5 file, no CSV file", source),
                      {"what it holds: talvora-host tree " + quote_word(source)});
    }
    if (text.starts_with(BYTE_ORDER_MARK)) {
        text.remove_prefix(BYTE_ORDER_MARK.size());
    }
    CsvTable table;
    for_each_row(text, detect_delimiter(text), source, [&](const Row& row) {
        table.columns.empty() ? set_columns(table, row, source) : add_row(table, row, source);
    });
    if (table.row_count == 0) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: {}", source,
                                  table.columns.empty() ? "empty" : "no row below the names"));
    }
    return table;
}

CsvTable read_csv(const std::filesystem::path& file) {
    std::error_code ignored;
    if (std::filesystem::is_directory(file, ignored)) {
        throw Failure(ExitCode::Input, fmt::format("{}: a folder, no CSV file", file.string()));
    }
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        const std::error_code reason(errno, std::generic_category());
        throw Failure(ExitCode::Input, fmt::format("{}: {}", file.string(), reason.message()));
    }
    std::ostringstream text;
    text << stream.rdbuf();
    return parse_csv(text.view(), file.string());
}

std::vector<std::string> split_csv_row(std::string_view row, char delimiter) {
    Row fields;
    for_each_row(row, delimiter, std::string(row), [&](const Row& parsed) {
        fields.insert(fields.end(), parsed.begin(), parsed.end());
    });
    return fields;
}

} // namespace talvora::host
