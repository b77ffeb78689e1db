#include "host/recipes/yaml_lines.h"

#include "host/text/ascii.h"
#include "host/text/utf8.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvora::host {
namespace {

bool is_misplaced(char c) {
    return is_control(c) && c != '\t';
}

} // namespace

std::string with_plain_line_ends(std::string_view text) {
    text = skip_byte_order_mark(text);
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\r') {
            plain += text[i];
        } else if (i + 1 == text.size() || text[i + 1] != '\n') {
            plain += '\n';
        }
    }
    if (!plain.ends_with('\n')) {
        plain += '\n';
    }
    return plain;
}

TextLines::TextLines(std::string_view text) {
    for (std::size_t end = 0; end != std::string_view::npos;) {
        end = text.find('\n');
        lines_.push_back(text.substr(0, end));
        text.remove_prefix(std::min(text.size(), lines_.back().size() + 1));
    }
}

YamlPlace TextLines::find(std::size_t line, std::size_t column) const {
    line = std::min(line, lines_.size() - 1);
    return {line + 1, count_code_points(lines_[line].substr(0, column)) + 1};
}

bool check_lines(const TextLines& lines, std::vector<YamlProblem>& problems) {
    const std::size_t known_count = problems.size();
    for (std::size_t i = 0; i < lines.all().size(); ++i) {
        const std::string_view line = lines.all()[i];
        if (const auto at = find_invalid_utf8(line)) {
            problems.push_back({lines.find(i, *at),
                                fmt::format("the byte {:#04x} is no UTF-8", line[*at] & 0xFF),
                                "save the file as UTF-8"});
            return false;
        }
        if (const auto found = std::ranges::find_if(line, is_misplaced); found != line.end()) {
            const auto at = static_cast<std::size_t>(found - line.begin());
            problems.push_back({lines.find(i, at),
                                fmt::format("the byte {:#04x} has no place in a text", *found),
                                ""});
            return false;
        }
        const auto tab = line.substr(0, line.find_first_not_of(" \t")).find('\t');
        if (tab != std::string_view::npos) {
            problems.push_back({lines.find(i, tab), "a tab in the blanks that a line begins with",
                                "indent by blanks"});
        }
    }
    return problems.size() == known_count;
}

} // namespace talvora::host
