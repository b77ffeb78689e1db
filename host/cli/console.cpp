#include "host/cli/console.h"

#include "host/recipes/json_text.h"
#include "host/system/standard_streams.h"
#include "host/text/control_characters.h"

#include <fmt/color.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace talvora::host {
namespace {

constexpr std::size_t MAX_HINTS = 2;

struct LevelColour {
    MessageLevel level;
    fmt::terminal_color colour;
};
constexpr LevelColour COLOURS[] = {
    {MessageLevel::Error, fmt::terminal_color::red},
    {MessageLevel::Warning, fmt::terminal_color::yellow},
    {MessageLevel::Info, fmt::terminal_color::cyan},
    {MessageLevel::Hint, fmt::terminal_color::green},
};

fmt::terminal_color colour_of(MessageLevel level) {
    return std::ranges::find(COLOURS, level, &LevelColour::level)->colour;
}

bool wants_colours() {
    const char* no_colour = std::getenv("NO_COLOR");
    return isatty(STDERR_FILENO) != 0 && (no_colour == nullptr || *no_colour == '\0');
}

std::string on_one_line(std::string_view text) {
    return blank_controls(text, "\t");
}

std::string dump(const nlohmann::ordered_json& json, int indent) {
    return escape_controls_of_json(format_json(json, indent));
}

} // namespace

Console::Console() : coloured_(wants_colours()) {}

bool Console::is_shown(MessageLevel level) const {
    return level == MessageLevel::Info ? !quiet_ : level != MessageLevel::Detail || verbose_;
}

void Console::print(MessageLevel level, std::string_view text) const {
    if (!is_shown(level)) {
        return;
    }
    const MessageLevel shown = level == MessageLevel::Detail ? MessageLevel::Info : level;
    const auto look =
        coloured_ ? fmt::emphasis::bold | fmt::fg(colour_of(shown)) : fmt::text_style();
    write_to_standard_error(
        fmt::format("{} {}\n", fmt::format(look, "{}:", level_name(shown)), on_one_line(text)));
}

void Console::failure(const Failure& failure) const {
    error(failure.what());
    for (std::size_t i = 0; i < std::min(MAX_HINTS, failure.hints().size()); ++i) {
        hint(failure.hints()[i]);
    }
    failure_line(failure);
}

void Console::failure_line(const Failure& failure) const {
    if (json_) {
        json_line({{"error", failure.what()},
                   {"hints", failure.hints()},
                   {"exit_code", static_cast<int>(failure.code())}});
    }
}

void Console::note(std::string_view line) const {
    write_to_standard_error(on_one_line(line) + '\n');
}

void Console::result(std::string_view text) const {
    const std::string lines = blank_controls(text, "\t\n");
    std::fwrite(lines.data(), 1, lines.size(), stdout);
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

} // namespace talvora::host
