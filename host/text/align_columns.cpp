#include "host/text/align_columns.h"

#include "host/text/utf8.h"

#include <algorithm>

namespace talvora::host {
namespace {

// A terminal shows a code point one column wide in most scripts.
std::string pad(const std::string& cell, std::size_t width, bool to_the_right) {
    const std::string room(width - count_code_points(cell), ' ');
    return to_the_right ? room + cell : cell + room;
}

} // namespace

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
