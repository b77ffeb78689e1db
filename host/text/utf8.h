// UTF-8 text, as far as the host has to look into it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace talvora::host {

// False for the bytes that a code point goes on with, 80 to BF, true for all others.
constexpr bool begins_code_point(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
}

// The text behind the mark that some editors put in front of it.
std::string_view skip_byte_order_mark(std::string_view text);

std::size_t count_code_points(std::string_view text);

// How many bytes the code point takes that a text, not empty, begins with; 0 where it begins with
// none.
std::size_t measure_code_point(std::string_view text);

// The position of the first byte that is no UTF-8: not the beginning of a code point, cut
// off, longer than needed, a surrogate or beyond U+10FFFF.
std::optional<std::size_t> find_invalid_utf8(std::string_view text);

// The text with each such byte as \xHH.
std::string escape_invalid_utf8(std::string_view text);

// The code points of a text. A byte that find_invalid_utf8 stops at stands there by itself, as
// U+DC00 plus its value: a surrogate, which no code point of a text is.
std::u32string decode_utf8(std::string_view text);

// UTF-16 as UTF-8. What is no code point, half a pair, becomes U+FFFD.
std::string utf16_to_utf8(std::u16string_view text);

} // namespace talvora::host
