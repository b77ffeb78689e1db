#include "host/tables/csv_quoting.h"

namespace talvora::host {

std::string quote_field(std::string_view text) {
    const bool is_plain = text.find_first_of(",;\t\"\r\n") == std::string::npos &&
                          !text.starts_with(' ') && !text.ends_with(' ');
    if (is_plain) {
        return std::string(text);
    }
    std::string quoted = "\"";
    for (const char c : text) {
        quoted += c == '"' ? "\"\"" : std::string(1, c);
    }
    return quoted + '"';
}

bool is_formula(std::string_view text) {
    constexpr std::string_view BEGINNINGS = "=+-@\t\r";
    return !text.empty() && BEGINNINGS.find(text.front()) != std::string_view::npos;
}

} // namespace talvora::host
