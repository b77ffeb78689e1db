#include "host/text/control_characters.h"

#include "host/text/utf8.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvora::host {
namespace {

constexpr unsigned char DELETION = 0x7F;

bool is_c1(unsigned char byte) {
    return byte >= 0x80 && byte <= 0x9F;
}

bool is_encoded_c1(std::string_view letter) {
    return letter.size() == 2 && letter[0] == '\xC2' &&
           is_c1(static_cast<unsigned char>(letter[1]));
}

char32_t number_of(std::string_view letter) {
    return decode_utf8(letter).front();
}

bool turns_text(std::string_view letter) {
    const char32_t number = letter.size() == 2 || letter.size() == 3 ? number_of(letter) : 0;
    return number == 0x061C || number == 0x200E || number == 0x200F ||
           (number >= 0x202A && number <= 0x202E) || (number >= 0x2066 && number <= 0x2069);
}

// A code point, or a byte that begins none.
bool is_control(std::string_view letter) {
    const auto first = static_cast<unsigned char>(letter[0]);
    return first < ' ' || first == DELETION || is_encoded_c1(letter) || turns_text(letter) ||
           (letter.size() == 1 && is_c1(first));
}

bool is_escaped_in_json(std::string_view letter) {
    return letter[0] == static_cast<char>(DELETION) || is_encoded_c1(letter) || turns_text(letter);
}

template <typename Take>
void for_each_letter(std::string_view text, const Take& take) {
    while (!text.empty()) {
        const auto letter = text.substr(0, std::max<std::size_t>(measure_code_point(text), 1));
        take(letter);
        text.remove_prefix(letter.size());
    }
}

} // namespace

std::string blank_controls(std::string_view text, std::string_view kept) {
    std::string plain;
    for_each_letter(text, [&](std::string_view letter) {
        const bool stays = !is_control(letter) || kept.find(letter) != std::string_view::npos;
        plain += stays ? letter : " ";
    });
    return plain;
}

std::string escape_controls_of_json(std::string_view json) {
    std::string escaped;
    for_each_letter(json, [&](std::string_view letter) {
        escaped += is_escaped_in_json(letter)
                       ? fmt::format("\\u{:04x}", static_cast<unsigned>(number_of(letter)))
                       : std::string(letter);
    });
    return escaped;
}

} // namespace talvora::host
