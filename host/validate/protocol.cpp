#include "host/validate/protocol.h"

#include <sstream>

namespace talvora::host {

namespace {

constexpr std::string_view MARK = "\x1etalvora\t";

ToldLine parse_line(const std::string& line) {
    const std::size_t tab = line.find('\t', MARK.size());
    if (!line.starts_with(MARK) || tab == std::string::npos)
        return {"other", line};
    return {line.substr(MARK.size(), tab - MARK.size()), line.substr(tab + 1)};
}

} // namespace

std::string format_line(std::string_view kind, std::string_view text) {
    std::string line = "\n" + std::string(MARK) + std::string(kind) + "\t";
    for (const char letter : text)
        line += letter >= '\0' && letter < ' ' ? ' ' : letter;
    return line + "\n";
}

std::vector<ToldLine> parse_lines(const std::string& output) {
    std::vector<ToldLine> lines;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);) {
        // Windows ends lines with one more letter.
        if (line.ends_with('\r'))
            line.pop_back();
        if (!line.empty())
            lines.push_back(parse_line(line));
    }
    return lines;
}

} // namespace talvora::host
