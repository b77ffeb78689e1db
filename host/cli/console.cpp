#include "host/cli/console.h"

#include "host/text/utf8.h"

#include <fmt/color.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <unistd.h>

namespace talvora::host {
namespace {

constexpr std::size_t MAX_HINTS = 2;

struct LevelStyle {
    MessageLevel level;
    std::string_view name;
    fmt::terminal_color colour;
};
constexpr LevelStyle STYLES[] = {
    {MessageLevel::Error, "error", fmt::terminal_color::red},
    {MessageLevel::Warning, "warning", fmt::terminal_color::yellow},
    {MessageLevel::Info, "info", fmt::terminal_color::cyan},
    {MessageLevel::Hint, "hint", fmt::terminal_color::green},
    {MessageLevel::Detail, "detail", fmt::terminal_color::cyan},
};

const LevelStyle& style_of(MessageLevel level) {
    return *std::ranges::find(STYLES, level, &LevelStyle::level);
}

bool wants_colours() {
    const char* no_colour = std::getenv("NO_COLOR");
    return isatty(STDERR_FILENO) != 0 && (no_colour == nullptr || *no_colour == '\0');
}

// Control characters, which names in files may hold, do nothing to the terminal.
std::string on_one_line(std::string_view text) {
    std::string line(text);
    std::ranges::replace_if(
        line, [](unsigned char c) { return (c < 0x20 && c != '\t') || c == 0x7f; }, ' ');
    return line;
}

std::string dump(const nlohmann::ordered_json& json, int indent) {
    return json.dump(indent, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

// A terminal shows a code point one column wide in most scripts.
std::string pad(const std::string& cell, std::size_t width, bool to_the_right) {
    const std::string room(width - count_code_points(cell), ' ');
    return to_the_right ? room + cell : cell + room;
}

} // namespace

Console::Console() : coloured_(wants_colours()) {}

std::string_view level_name(MessageLevel level) {
    return style_of(level).name;
}

std::optional<MessageLevel> find_level(std::string_view name) {
    const auto style = std::ranges::find(STYLES, name, &LevelStyle::name);
    return style == std::end(STYLES) ? std::nullopt : std::optional(style->level);
}

bool Console::is_shown(MessageLevel level) const {
    return level == MessageLevel::Info ? !quiet_ : level != MessageLevel::Detail || verbose_;
}

void Console::print(MessageLevel level, std::string_view text) const {
    if (!is_shown(level)) {
        return;
    }
    const LevelStyle& style = style_of(level == MessageLevel::Detail ? MessageLevel::Info : level);
    const auto look = coloured_ ? fmt::emphasis::bold | fmt::fg(style.colour) : fmt::text_style();
    fmt::print(stderr, "{} {}\n", fmt::format(look, "{}:", style.name), on_one_line(text));
}

void Console::failure(const Failure& failure) const {
    error(failure.what());
    for (std::size_t i = 0; i < std::min(MAX_HINTS, failure.hints().size()); ++i) {
        hint(failure.hints()[i]);
    }
}

void Console::note(std::string_view line) const {
    fmt::print(stderr, "{}\n", on_one_line(line));
}

void Console::result(std::string_view text) const {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\n', stdout);
}

void Console::result_line(std::string_view line) const {
    result(on_one_line(line));
}

void Console::done_line(std::string_view line) const {
    if (!quiet_) {
        result_line(line);
    }
}

void Console::document(const nlohmann::ordered_json& json) const {
    result(dump(json, 2));
}

void Console::json_line(const nlohmann::ordered_json& json) const {
    result(dump(json, -1));
    std::fflush(stdout);
}

std::vector<std::string> align_columns(const std::vector<std::vector<std::string>>& rows,
                                       const std::vector<bool>& numeric) {
    std::vector<std::size_t> widths(numeric.size());
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], count_code_points(row[i]));
        }
    }
    std::vector<std::string> lines;
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += (i == 0 ? "" : "  ") + pad(row[i], widths[i], numeric[i]);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        lines.push_back(line);
    }
    return lines;
}

} // namespace talvora::host
