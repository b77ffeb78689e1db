#include "host/validate/protocol.h"

#include <algorithm>
#include <sstream>

namespace talvora::host {

namespace {

constexpr std::string_view MARK = "\x1etalvora\t";

ToldLine parse_line(const std::string& line) {
    const std::size_t tab = line.find('\t', MARK.size());
    if (!line.starts_with(MARK) || tab == std::string::npos) {
        return {"other", line};
    }
    return {line.substr(MARK.size(), tab - MARK.size()), line.substr(tab + 1)};
}

} // namespace

std::string format_line(std::string_view kind, std::string_view text) {
    std::string line = "\n" + std::string(MARK) + std::string(kind) + "\t";
    for (const char letter : text) {
        line += static_cast<unsigned char>(letter) < ' ' ? ' ' : letter;
    }
    return line + "\n";
}

std::vector<ToldLine> parse_lines(const std::string& output) {
    std::vector<ToldLine> lines;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);) {
        // Windows ends lines with one more letter.
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        if (!line.empty()) {
            lines.push_back(parse_line(line));
        }
    }
    return lines;
}

void KeptOutput::append(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t end = std::min(bytes.find('\n'), bytes.size());
        const std::size_t kept = std::min(end, MAX_LINE - line_.size());
        line_ += bytes.substr(0, kept);
        unkept_bytes_ += end - kept;
        if (end == bytes.size()) {
            return;
        }
        end_line();
        bytes.remove_prefix(end + 1);
    }
}

void KeptOutput::end_line() {
    if (line_.ends_with('\r')) {
        line_.pop_back();
    }
    if (line_.starts_with(MARK) && told_.size() + line_.size() < MAX_TOLD) {
        told_ += line_ + '\n';
    } else if (!line_.empty()) {
        unkept_bytes_ += last_line_.size();
        last_line_.swap(line_);
    }
    line_.clear();
}

} // namespace talvora::host
