#include "host/text/quote_word.h"

#include "host/text/ascii.h"

#include <algorithm>

namespace talvora::host {
namespace {

bool is_plain(char c) {
    constexpr std::string_view PLAIN = "/._-+:@%,";
    return is_digit(c) || is_letter(c) || PLAIN.find(c) != std::string_view::npos;
}

} // namespace

std::string quote_word(std::string_view word) {
    if (!word.empty() && std::ranges::all_of(word, is_plain)) {
        return std::string(word);
    }
    std::string quoted = "'";
    for (const char c : word) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

} // namespace talvora::host
