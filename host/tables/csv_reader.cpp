#include "host/tables/csv_reader.h"

#include "host/tables/missing_values.h"
#include "host/text/failure.h"
#include "host/text/quote_word.h"
#include "host/text/utf8.h"

#include <csv.h>
#include <fmt/format.h>

#include <cerrno>
#include <exception>
#include <fstream>
#include <functional>
#include <memory>
#include <span>
#include <utility>

namespace talvora::host {
namespace {

constexpr std::streamsize BLOCK_BYTES = std::streamsize{256} * 1024; // read at once

constexpr std::string_view HDF5_SIGNATURE = "\x89HDF\r\n\x1A\n";

using Row = std::vector<std::string>;
using RowReceiver = std::function<void(const Row&)>;

// What the parser's two callbacks share. An exception waits here until the parser,
// which is C, has returned. A blank line is a row without a field.
struct RowCollector {
    Row row;
    RowReceiver receive;
    std::exception_ptr failure;
    int last_end = 0; // what the row before ended with

    static void add_field(void* text, std::size_t length, void* self) {
        static_cast<RowCollector*>(self)->row.emplace_back(static_cast<const char*>(text), length);
    }
    static void end_row(int end, void* self) {
        auto* collector = static_cast<RowCollector*>(self);
        const bool ends_twice =
            collector->row.empty() && end == '\n' && collector->last_end == '\r';
        collector->last_end = end;
        try {
            if (!collector->failure && !ends_twice) {
                collector->receive(collector->row);
            }
        } catch (...) {
            collector->failure = std::current_exception();
        }
        collector->row.clear();
    }
};

// `begin` is where the text begins in the source.
void for_each_row(std::string_view text, std::size_t begin, char delimiter,
                  const std::string& source, RowReceiver receive) {
    csv_parser parser;
    csv_init(&parser, CSV_STRICT | CSV_STRICT_FINI | CSV_REPALL_NL);
    const std::unique_ptr<csv_parser, decltype(&csv_free)> cleanup(&parser, &csv_free);
    csv_set_delim(&parser, static_cast<unsigned char>(delimiter));
    RowCollector collector{.row = {}, .receive = std::move(receive), .failure = {}};
    const std::size_t parsed = csv_parse(&parser, text.data(), text.size(), RowCollector::add_field,
                                         RowCollector::end_row, &collector);
    if (parsed != text.size()) {
        throw Failure(
            ExitCode::Input,
            fmt::format("{}: a double quote inside a field at byte {}", source, begin + parsed),
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

// The fields of a row of so many columns: a delimiter at its end makes none.
std::span<const std::string> cells_of(const Row& row, std::size_t column_count) {
    const bool ends_with_delimiter = row.size() == column_count + 1 && row.back().empty();
    return std::span(row).first(ends_with_delimiter ? column_count : row.size());
}

// Takes the rows below the names. Of one column, a blank line between two rows is a row with an
// empty cell; of several it is none.
class RowTaker {
  public:
    RowTaker(NumberTable& table, const std::string& source) : table_(table), source_(source) {}

    void take(const Row& row) {
        if (row.empty()) {
            ++blank_count_;
            return;
        }
        if (table_.columns.size() == 1) {
            for (; blank_count_ > 0; --blank_count_) {
                add_row(table_, Row{""}, source_);
            }
        } else if (blank_count_ > 0 && table_.row_count > 0 && table_.first_blank_row == 0) {
            table_.first_blank_row = table_.first_row + table_.row_count;
        }
        blank_count_ = 0;
        add_row(table_, cells_of(row, table_.columns.size()), source_);
    }

  private:
    NumberTable& table_;
    const std::string& source_;
    std::size_t blank_count_ = 0;
};

// A file that holds something else, told before it is taken for a faulty table.
void refuse_other_formats(std::string_view text, const std::string& source) {
    if (text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF")) {
        throw Failure(ExitCode::Input, fmt::format("{}: UTF-16 text, UTF-8 is read", source),
                      {"save it as UTF-8"});
    }
    if (text.starts_with(HDF5_SIGNATURE)) {
        throw Failure(
            ExitCode::Input, fmt::format("{}: an HDF5 file, no CSV file", source),
            {"what it holds: talvora-host tree " + quote_word(source),
             "signals of another program come in with --map NAME, or --time-axis N --rate "
             "HZ"});
    }
}

NumberTable start_table(const Row& names, const CsvLayout& layout, const std::string& source) {
    NumberTable table = make_table(names, source);
    table.first_row = layout.names_row + 1;
    if (layout.names_row > 1) {
        table.notes.push_back(
            fmt::format("row {} holds the names of the columns, what is above it is left out",
                        layout.names_row));
    }
    return table;
}

void add_units(NumberTable& table, const Row& row, const std::string& source) {
    table.notes.push_back(fmt::format("row {} holds the units of the columns", table.first_row++));
    set_units(table, row, source);
}

NumberTable read_rows(std::string_view text, const CsvLayout& layout, char decimal_sign,
                      const std::string& source) {
    NumberTable table;
    RowTaker rows(table, source);
    bool units_follow = layout.has_units_row;
    for_each_row(text.substr(layout.begin), layout.begin, layout.delimiter, source,
                 [&](const Row& row) {
                     if (table.columns.empty() && !row.empty()) {
                         table = start_table(row, layout, source);
                         table.decimal_sign = decimal_sign;
                     } else if (units_follow && !row.empty()) {
                         add_units(table, row, source);
                         units_follow = false;
                     } else if (!table.columns.empty()) {
                         rows.take(row);
                     }
                 });
    return table;
}

// What else commas could be than decimal signs.
void refuse_other_commas(const CommaCells& cells, const CsvLayout& layout,
                         const std::string& source) {
    if (layout.delimiter != ',' && !cells.could_be_thousands) {
        return;
    }
    throw Failure(
        ExitCode::Input,
        fmt::format("{}: row {}, column '{}': '{}' could have a decimal comma, or one {}", source,
                    cells.first_row, cells.first_column, cells.first_text,
                    layout.delimiter == ',' ? "that parts two numbers" : "between thousands"),
        {"--decimal-comma reads all numbers so; else write them with a point alone"});
}

} // namespace

NumberTable parse_csv(std::string_view text, const std::string& source, const CsvChoice& choice) {
    refuse_other_formats(text, source);
    text = skip_byte_order_mark(text);
    const CsvLayout layout = find_layout(text, choice, source);
    NumberTable table = read_rows(text, layout, choice.decimal_comma ? ',' : '.', source);
    if (table.comma_cells.count > 0 && !choice.decimal_comma) {
        refuse_other_commas(table.comma_cells, layout, source);
        table = read_rows(text, layout, ',', source);
        table.notes.emplace_back("numbers have a decimal comma");
    }
    if (table.row_count == 0) {
        throw Failure(ExitCode::Input,
                      fmt::format("{}: {}", source,
                                  table.columns.empty() ? "empty" : "no row below the names"));
    }
    take_for_missing(table, choice.missing);
    table.hints = {
        .without_numbers =
            {"numbers have a decimal point; columns are parted by ',', ';' or a tab"},
        .of_column_without_numbers = {"numbers have a decimal point, whatever the locale"}};
    return table;
}

std::string read_csv_text(const std::filesystem::path& file) {
    std::error_code ignored;
    if (std::filesystem::is_directory(file, ignored)) {
        throw Failure(ExitCode::Input, fmt::format("{}: a folder, no CSV file", file.string()));
    }
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        const std::error_code reason(errno, std::generic_category());
        throw Failure(ExitCode::Input, fmt::format("{}: {}", file.string(), reason.message()));
    }
    std::string text;
    std::vector<char> block(BLOCK_BYTES);
    while (stream.read(block.data(), BLOCK_BYTES) || stream.gcount() > 0) {
        text.append(block.data(), static_cast<std::size_t>(stream.gcount()));
    }
    if (stream.bad()) { // what was read up to there is not the table
        const std::error_code reason(errno, std::generic_category());
        throw Failure(ExitCode::Input, fmt::format("{}: cannot be read to its end: {}",
                                                   file.string(), reason.message()));
    }
    return text;
}

NumberTable read_csv(const std::filesystem::path& file, const CsvChoice& choice) {
    return parse_csv(read_csv_text(file), file.string(), choice);
}

std::vector<std::string> split_csv_row(std::string_view row, char delimiter) {
    Row fields;
    for_each_row(row, 0, delimiter, std::string(row), [&](const Row& parsed) {
        fields.insert(fields.end(), parsed.begin(), parsed.end());
    });
    return fields;
}

} // namespace talvora::host
