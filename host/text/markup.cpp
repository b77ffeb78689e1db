#include "host/text/markup.h"

#include "host/text/utf8.h"

#include <algorithm>

namespace talvora::host {
namespace {

// Bytes that are no UTF-8, and the two code points that XML 1.0 leaves out.
bool is_no_letter(std::string_view code_point) {
    return code_point.empty() || code_point == "\xEF\xBF\xBE" || code_point == "\xEF\xBF\xBF";
}

void append_letter(std::string& escaped, std::string_view letter) {
    constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";
    if (is_no_letter(letter)) {
        escaped += REPLACEMENT;
    } else if (letter == "&") {
        escaped += "&amp;";
    } else if (letter == "<") {
        escaped += "&lt;";
    } else if (letter == ">") {
        escaped += "&gt;";
    } else if (static_cast<unsigned char>(letter.front()) < ' ') {
        escaped += ' ';
    } else {
        escaped += letter;
    }
}

} // namespace

std::string escape_markup(std::string_view text) {
    std::string escaped;
    while (!text.empty()) {
        const std::size_t length = measure_code_point(text);
        append_letter(escaped, text.substr(0, length));
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return escaped;
}

} // namespace talvora::host
