#include "host/text/utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace talvora::host {
namespace {

// The well-formed byte sequences by their first byte: how many bytes follow, and what the
// next one may be; all others are 80 to BF (The Unicode Standard, table 3-7).
struct Sequence {
    unsigned char first_min, first_max;
    std::size_t more;
    unsigned char next_min, next_max;
};
constexpr std::array SEQUENCES = {
    Sequence{0x00, 0x7F, 0, 0x00, 0x00}, Sequence{0xC2, 0xDF, 1, 0x80, 0xBF},
    Sequence{0xE0, 0xE0, 2, 0xA0, 0xBF}, Sequence{0xE1, 0xEC, 2, 0x80, 0xBF},
    Sequence{0xED, 0xED, 2, 0x80, 0x9F}, Sequence{0xEE, 0xEF, 2, 0x80, 0xBF},
    Sequence{0xF0, 0xF0, 3, 0x90, 0xBF}, Sequence{0xF1, 0xF3, 3, 0x80, 0xBF},
    Sequence{0xF4, 0xF4, 3, 0x80, 0x8F}};

// Bytes that are no UTF-8 become letters that no text can hold.
constexpr char32_t FIRST_STRAY_BYTE = 0xDC00;

// Of the bytes that were measured.
char32_t read_code_point(std::string_view bytes) {
    constexpr unsigned char LEAD_BITS[] = {0x7F, 0x1F, 0x0F, 0x07}; // by the bytes that follow
    char32_t code_point = static_cast<unsigned char>(bytes[0]) & LEAD_BITS[bytes.size() - 1];
    for (const char byte : bytes.substr(1)) {
        code_point = (code_point << 6) | (static_cast<unsigned char>(byte) & 0x3F);
    }
    return code_point;
}

void append_utf8(std::string& text, char32_t code_point) {
    constexpr char32_t LEAD_BITS[] = {0x00, 0xC0, 0xE0, 0xF0}; // by the bytes that follow
    constexpr char32_t FIRST_OF_LENGTH[] = {0x80, 0x800, 0x10000};
    const auto more = static_cast<unsigned>(std::ranges::upper_bound(FIRST_OF_LENGTH, code_point) -
                                            std::begin(FIRST_OF_LENGTH));
    text += static_cast<char>(LEAD_BITS[more] | (code_point >> (6 * more)));
    for (unsigned behind = more; behind-- > 0;) {
        text += static_cast<char>(0x80 | ((code_point >> (6 * behind)) & 0x3F));
    }
}

constexpr bool is_first_of_pair(char16_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

constexpr bool is_second_of_pair(char16_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

} // namespace

std::string_view skip_byte_order_mark(std::string_view text) {
    constexpr std::string_view MARK = "\xEF\xBB\xBF";
    return text.substr(text.starts_with(MARK) ? MARK.size() : 0);
}

std::size_t count_code_points(std::string_view text) {
    return static_cast<std::size_t>(std::ranges::count_if(text, begins_code_point));
}

std::size_t measure_code_point(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const auto row = std::ranges::find_if(SEQUENCES, [&](const Sequence& sequence) {
        return byte(0) >= sequence.first_min && byte(0) <= sequence.first_max;
    });
    if (row == SEQUENCES.end() || text.size() <= row->more) {
        return 0;
    }
    if (row->more > 0 && (byte(1) < row->next_min || byte(1) > row->next_max)) {
        return 0;
    }
    const std::string_view rest =
        text.substr(0, row->more + 1).substr(std::min<std::size_t>(2, row->more + 1));
    return std::ranges::none_of(rest, begins_code_point) ? row->more + 1 : 0;
}

std::optional<std::size_t> find_invalid_utf8(std::string_view text) {
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t length = measure_code_point(text.substr(at));
        if (length == 0) {
            return at;
        }
        at += length;
    }
    return std::nullopt;
}

std::string escape_invalid_utf8(std::string_view text) {
    std::string escaped;
    while (const auto at = find_invalid_utf8(text)) {
        escaped += text.substr(0, *at);
        escaped += fmt::format("\\x{:02X}", static_cast<unsigned char>(text[*at]));
        text.remove_prefix(*at + 1);
    }
    return escaped += text;
}

std::u32string decode_utf8(std::string_view text) {
    std::u32string letters;
    while (!text.empty()) {
        const std::size_t length = measure_code_point(text);
        letters += length > 0 ? read_code_point(text.substr(0, length))
                              : FIRST_STRAY_BYTE + static_cast<unsigned char>(text.front());
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return letters;
}

std::string utf16_to_utf8(std::u16string_view text) {
    constexpr char32_t REPLACEMENT = 0xFFFD;
    std::string utf8;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char32_t unit = text[i];
        if (is_first_of_pair(text[i]) && i + 1 < text.size() && is_second_of_pair(text[i + 1])) {
            append_utf8(utf8, 0x10000 + ((unit - 0xD800) << 10) + (text[++i] - 0xDC00));
        } else {
            const bool is_half = is_first_of_pair(text[i]) || is_second_of_pair(text[i]);
            append_utf8(utf8, is_half ? REPLACEMENT : unit);
        }
    }
    return utf8;
}

} // namespace talvora::host
