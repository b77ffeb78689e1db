// Kinds of letters, as ASCII has them whatever the locale is. A byte beyond ASCII is of none.
#pragma once

namespace talvora::host {

constexpr char to_lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

constexpr bool is_letter(char c) {
    return to_lower(c) >= 'a' && to_lower(c) <= 'z';
}

constexpr bool is_control(char c) {
    return static_cast<unsigned char>(c) < ' ' || c == '\x7F';
}

} // namespace talvora::host
