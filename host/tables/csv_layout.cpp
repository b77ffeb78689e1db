#include "host/tables/csv_layout.h"

#include "host/tables/cell_words.h"
#include "host/tables/column_name.h"
#include "host/tables/time_column.h"
#include "host/text/failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <span>
#include <tuple>

namespace talvora::host {
namespace {

constexpr std::string_view DELIMITERS = ",;\t";

// What stands around a table stands in front of it. Of wide tables a few lines tell enough.
constexpr std::size_t MAX_HEAD_LINES = 200;
constexpr std::size_t MIN_HEAD_LINES = 4;
constexpr std::size_t MAX_HEAD_BYTES = 1 << 16;

using Cells = std::vector<std::string>;

struct Line {
    std::size_t row = 1;
    std::size_t begin = 0;
    std::string_view text;
};

bool is_enough(std::size_t line_count, std::size_t byte_count) {
    return line_count >= MAX_HEAD_LINES ||
           (line_count >= MIN_HEAD_LINES && byte_count >= MAX_HEAD_BYTES);
}

// Tells what stands in quotes. They part nothing but where they begin a cell; doubled ones are one
// letter.
class Quotes {
  public:
    // Takes the letter at a position; true where it is a quote that begins or ends the quoting.
    bool step(std::string_view text, std::size_t position, std::string_view delimiters) {
        const char c = text[position];
        const bool is_doubled = is_second_;
        is_second_ = false;
        if (c != '"' || is_doubled) {
            at_begin_ = !is_open_ && delimiters.find(c) != std::string_view::npos;
            return false;
        }
        is_second_ = is_open_ && text.substr(position + 1, 1) == "\"";
        const bool turns = is_open_ ? !is_second_ : at_begin_;
        is_open_ ^= turns;
        at_begin_ = false;
        return turns;
    }
    bool is_open() const { return is_open_; }

  private:
    bool at_begin_ = true;
    bool is_open_ = false;
    bool is_second_ = false; // the next one belongs to this one
};

std::size_t find_line_end(std::string_view text, std::size_t begin) {
    Quotes quotes;
    for (std::size_t i = begin; i < text.size(); ++i) {
        quotes.step(text, i, DELIMITERS);
        if (!quotes.is_open() && (text[i] == '\r' || text[i] == '\n')) {
            return i;
        }
    }
    return text.size();
}

// Without blank ones.
std::vector<Line> split_head(std::string_view text) {
    std::vector<Line> lines;
    std::size_t begin = 0;
    for (std::size_t row = 1; begin < text.size() && !is_enough(lines.size(), begin); ++row) {
        const std::size_t end = find_line_end(text, begin);
        if (end > begin) {
            lines.push_back({row, begin, text.substr(begin, end - begin)});
        }
        begin = end + (text.substr(end, 2) == "\r\n" ? 2 : 1);
    }
    return lines;
}

// A delimiter at the end of a row makes no cell; empty quotes there are one.
Cells split_cells(std::string_view line, char delimiter) {
    Cells cells(1);
    Quotes quotes;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const bool turns = quotes.step(line, i, std::string_view(&delimiter, 1));
        if (line[i] == delimiter && !quotes.is_open()) {
            cells.emplace_back();
        } else if (!turns) {
            cells.back() += line[i];
        }
    }
    if (cells.size() > 1 && cells.back().empty() && line.back() == delimiter) {
        cells.pop_back();
    }
    return cells;
}

// Such as "5;2" of "1,5;2,5": what other delimiters part, and no number with a decimal comma.
bool holds_several(const std::string& cell) {
    return cell.find_first_of(DELIMITERS) != std::string::npos && is_word(cell);
}

std::ptrdiff_t count_torn(std::span<const Line> lines, char delimiter) {
    return std::ranges::count_if(lines, [&](const Line& line) {
        return std::ranges::any_of(split_cells(line.text, delimiter), holds_several);
    });
}

// Of the delimiters that part the names the one that tears the fewest of the lines below, and of
// these the one that makes the most names: in names there may be commas, and in numbers.
char find_delimiter(std::span<const Line> lines, std::size_t names) {
    const auto rank = [&](char candidate) {
        const std::size_t name_count = split_cells(lines[names].text, candidate).size();
        return std::tuple(name_count > 1, -count_torn(lines.subspan(names + 1), candidate),
                          name_count);
    };
    return *std::ranges::max_element(DELIMITERS, {}, rank);
}

// The lines that have so many cells.
std::map<std::size_t, std::vector<Line>> gather_widths(std::span<const Line> lines,
                                                       char delimiter) {
    std::map<std::size_t, std::vector<Line>> widths;
    for (const Line& line : lines) {
        widths[split_cells(line.text, delimiter).size()].push_back(line);
    }
    return widths;
}

// ---------------------------------------------------------------------------
// Words

// As names of columns, or their units, are; not as a row of samples that are missing.
bool holds_words(const Cells& cells) {
    return std::ranges::none_of(cells, is_number) && std::ranges::any_of(cells, is_word);
}

bool holds_names(const Cells& cells) {
    return std::ranges::none_of(cells, is_number) &&
           std::ranges::none_of(cells, &std::string::empty);
}

bool tells_unit_of_time(const Cells& names, const Cells& units) {
    for (std::size_t i = 0; i < std::min(names.size(), units.size()); ++i) {
        if (is_named_time(names[i]) && is_unit_of_time(without_brackets(units[i]))) {
            return true;
        }
    }
    return false;
}

// ---------------------------------------------------------------------------

struct Head {
    std::vector<Line> lines;
    std::size_t names = 0; // index of the line of names
    char delimiter = ',';

    Cells cells(std::size_t line) const { return split_cells(lines[line].text, delimiter); }
};

// The table of more rows than those that are as wide as the first; of as many, fewer of them torn.
void find_table_below(Head& head) {
    const std::size_t first_width = head.cells(0).size();
    const auto rank = [](std::span<const Line> lines, char delimiter) {
        return std::pair(std::ssize(lines), -count_torn(lines, delimiter));
    };
    auto best = first_width < 2
                    ? std::pair<std::ptrdiff_t, std::ptrdiff_t>(1, 0)
                    : rank(gather_widths(head.lines, head.delimiter)[first_width], head.delimiter);
    for (const char delimiter : DELIMITERS) {
        for (const auto& [width, lines] : gather_widths(head.lines, delimiter)) {
            const auto found = rank(lines, delimiter);
            if (width > 1 && found > best &&
                holds_names(split_cells(lines.front().text, delimiter))) {
                best = found;
                head.delimiter = delimiter;
                head.names = static_cast<std::size_t>(
                    std::ranges::find(head.lines, lines.front().row, &Line::row) -
                    head.lines.begin());
            }
        }
    }
}

std::size_t find_row(const Head& head, std::size_t row, const std::string& source) {
    const auto line = std::ranges::find(head.lines, row, &Line::row);
    if (line == head.lines.end()) {
        throw Failure(ExitCode::Usage,
                      fmt::format("{}: --header {}: no row of names there (allowed: a row that is "
                                  "not blank, among the first {})",
                                  source, row, MAX_HEAD_LINES));
    }
    return static_cast<std::size_t>(line - head.lines.begin());
}

Head find_head(std::string_view text, const CsvChoice& choice, const std::string& source) {
    Head head{.lines = split_head(text)};
    if (head.lines.empty()) {
        return head;
    }
    if (choice.names_row) {
        head.names = find_row(head, *choice.names_row, source);
        head.delimiter = find_delimiter(head.lines, head.names);
        return head;
    }
    const std::string_view first = head.lines.front().text;
    if (first.size() == 5 && first.starts_with("sep=") && head.lines.size() > 1) {
        head.delimiter = first.back();
        head.names = 1;
        return head;
    }
    head.delimiter = find_delimiter(head.lines, 0);
    find_table_below(head);
    return head;
}

[[noreturn]] void refuse_words(const Head& head, std::size_t line, const std::string& source) {
    const std::size_t row = head.lines[line].row;
    const std::string more = line == head.names + 1
                                 ? fmt::format("--units-row: row {} holds units; ", row)
                                 : std::string();
    throw Failure(
        ExitCode::Input,
        fmt::format("{}: row {} holds no number ('{}'): {} or names of columns, as row {} ('{}')",
                    source, row, head.lines[line].text,
                    line == head.names + 1 ? "units" : "missing samples",
                    head.lines[head.names].row, head.lines[head.names].text),
        {fmt::format(
            "{}--header {}: it holds the names, what is above is left out; --header {}: the "
            "names are there",
            more, row, head.lines[head.names].row)});
}

// Below rows of words, such as "Rate,100", the names may be yet to come; below one of samples they
// are not, and a row of words is one of samples that are missing.
void refuse_later_names(const Head& head, std::size_t begin, const std::string& source) {
    const std::size_t width = head.cells(head.names).size();
    for (std::size_t line = begin; line < head.lines.size(); ++line) {
        const Cells cells = head.cells(line);
        if (cells.size() == width && holds_words(cells)) {
            refuse_words(head, line, source);
        }
        if (std::ranges::none_of(cells, is_word)) {
            return;
        }
    }
}

// "1" is the unit of what has none, beside units of others.
void refuse_numbers_as_units(const Head& head, std::size_t line, const std::string& source) {
    const Cells cells = head.cells(line);
    const bool has_word = std::ranges::any_of(cells, is_word);
    const auto found = std::ranges::find_if(cells, [&](const std::string& cell) {
        return is_number(cell) && !(has_word && cell == "1");
    });
    if (found != cells.end()) {
        throw Failure(
            ExitCode::Input,
            fmt::format("{}: --units-row: row {} holds the number '{}' and no units ('{}')", source,
                        head.lines[line].row, *found, head.lines[line].text),
            {"without --units-row it is a row of samples; --header ROW says where the "
             "names stand"});
    }
}

bool find_units(const Head& head, const CsvChoice& choice, const std::string& source) {
    const std::size_t below = head.names + 1;
    if (below >= head.lines.size()) {
        return choice.has_units_row;
    }
    if (choice.has_units_row) {
        refuse_numbers_as_units(head, below, source);
        return true;
    }
    const Cells cells = head.cells(below);
    const bool has_units = holds_words(cells) && tells_unit_of_time(head.cells(head.names), cells);
    if (!choice.names_row) {
        refuse_later_names(head, below + (has_units ? 1 : 0), source);
    }
    return has_units;
}

} // namespace

CsvLayout find_layout(std::string_view text, const CsvChoice& choice, const std::string& source) {
    const Head head = find_head(text, choice, source);
    if (head.lines.empty()) {
        return {};
    }
    return {.delimiter = head.delimiter,
            .begin = head.lines[head.names].begin,
            .names_row = head.lines[head.names].row,
            .has_units_row = find_units(head, choice, source)};
}

} // namespace talvora::host
