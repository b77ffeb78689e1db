#include "host/text/quote_word.h"

#include "host/text/ascii.h"
#include "host/text/control_characters.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvora::host {
namespace {

bool is_plain(char c) {
    constexpr std::string_view PLAIN = "/._-+:@%,";
    return is_digit(c) || is_letter(c) || PLAIN.find(c) != std::string_view::npos;
}

bool holds_controls(std::string_view word) {
    return blank_controls(word, "") != word;
}

// Control characters do not reach a terminal: the shell makes them of their numbers.
std::string quote_by_numbers(std::string_view word) {
    std::string quoted = "$'";
    for (const char c : word) {
        if (c == '\'' || c == '\\') {
            quoted += fmt::format("\\{}", c);
        } else if (c < ' ' || c > '~') {
            quoted += fmt::format("\\{:03o}", static_cast<unsigned char>(c));
        } else {
            quoted += c;
        }
    }
    return quoted + "'";
}

} // namespace

std::string quote_word(std::string_view word) {
    if (!word.empty() && std::ranges::all_of(word, is_plain)) {
        return std::string(word);
    }
    if (holds_controls(word)) {
        return quote_by_numbers(word);
    }
    std::string quoted = "'";
    for (const char c : word) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

} // namespace talvora::host
