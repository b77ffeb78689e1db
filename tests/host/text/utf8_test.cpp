#include "host/text/utf8.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace talvora::host {
namespace {

TEST(Utf8, CountsLettersAndNotBytes) {
    EXPECT_EQ(count_code_points(""), 0U);
    EXPECT_EQ(count_code_points("a\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80"), 4U); // a, ü, €, a face
}

TEST(Utf8, AcceptsTheFirstAndTheLastOfEachLength) {
    for (const char* text :
         {"\x01", "\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
          "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_EQ(find_invalid_utf8(text), std::nullopt) << text;
    }
}

TEST(Utf8, FindsTheFirstByteThatIsNone) {
    const std::string_view texts[] = {
        "\x80",             // goes on with nothing before it
        "\xFF",             // never a first byte
        "\xC3",             // cut off
        "\xE2\x82",         // cut off
        "\xC3(",            // another letter where it goes on
        "\xE2\x82(",        //
        "\xC1\xBF",         // longer than needed
        "\xE0\x9F\xBF",     //
        "\xF0\x8F\xBF\xBF", //
        "\xED\xA0\x80",     // a surrogate
        "\xF4\x90\x80\x80", // beyond U+10FFFF
    };
    for (const std::string_view text : texts) {
        EXPECT_EQ(find_invalid_utf8(std::string("\xC3\xBC.") + std::string(text)), 3U) << text;
    }
}

TEST(Utf8, ShowsBytesThatAreNone) {
    EXPECT_EQ(escape_invalid_utf8("H\xC3\xB6he"), "H\xC3\xB6he");
    EXPECT_EQ(escape_invalid_utf8("\xFF"), "\\xFF");
    EXPECT_EQ(escape_invalid_utf8("Gr\xF6\xDF\xC3\xBC\xC3"), "Gr\\xF6\\xDF\xC3\xBC\\xC3");
}

TEST(Utf8, DecodesTheFirstAndTheLastOfEachLength) {
    const std::pair<std::string_view, char32_t> examples[] = {
        {std::string_view("\0", 1), 0x0},
        {"\x7F", 0x7F},
        {"\xC2\x80", 0x80},
        {"\xDF\xBF", 0x7FF},
        {"\xE0\xA0\x80", 0x800},
        {"\xED\x9F\xBF", 0xD7FF},
        {"\xEE\x80\x80", 0xE000},
        {"\xEF\xBF\xBF", 0xFFFF},
        {"\xF0\x90\x80\x80", 0x10000},
        {"\xF4\x8F\xBF\xBF", 0x10FFFF},
    };
    for (const auto& [text, code_point] : examples) {
        EXPECT_TRUE(decode_utf8(text) == std::u32string(1, code_point)) << text;
    }
    EXPECT_TRUE(decode_utf8("").empty());
    EXPECT_TRUE(decode_utf8("H\xC3\xB6he") == U"H\u00F6he");
}

// The value of the byte in a surrogate: what comes after it is decoded again.
TEST(Utf8, LetsAByteThatIsNoneStandByItself) {
    const std::pair<std::string_view, std::u32string> examples[] = {
        {"\x80", {0xDC80}},
        {"\xFF", {0xDCFF}},
        {"a\xE2\x82", {'a', 0xDCE2, 0xDC82}},
        {"\xE2\x82z", {0xDCE2, 0xDC82, 'z'}},
        {"\xC0\xAF", {0xDCC0, 0xDCAF}},
        {"\xC1\xBF", {0xDCC1, 0xDCBF}},
        {"\xE0\x9F\xBF", {0xDCE0, 0xDC9F, 0xDCBF}},
        {"\xED\xB2\x80", {0xDCED, 0xDCB2, 0xDC80}},
        {"\xF0\x8F\xBF\xBF", {0xDCF0, 0xDC8F, 0xDCBF, 0xDCBF}},
        {"\xF4\x90\x80\x80", {0xDCF4, 0xDC90, 0xDC80, 0xDC80}},
        {"\xC3\xC3\xB6", {0xDCC3, 0xF6}},
    };
    for (const auto& [text, letters] : examples) {
        EXPECT_TRUE(decode_utf8(text) == letters) << text;
    }
}

TEST(Utf8, IsMadeOfUtf16) {
    const std::pair<std::u16string_view, std::string_view> examples[] = {
        {u"", ""},
        {u"Fz \u007F\u0080", "Fz \x7F\xC2\x80"},
        {u"\u00B5\u07FF\u0800", "\xC2\xB5\xDF\xBF\xE0\xA0\x80"},
        {u"\uD7FF\uE000\uFFFF", "\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF"},
        {u"\U00010000\U0010FFFF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
    };
    for (const auto& [utf16, utf8] : examples) {
        EXPECT_EQ(utf16_to_utf8(utf16), utf8);
    }
}

TEST(Utf8, HoldsAReplacementForHalfAPairOfUtf16) {
    const std::string replaced = "\xEF\xBF\xBD";
    EXPECT_EQ(utf16_to_utf8(std::u16string{0xD800}), replaced);
    EXPECT_EQ(utf16_to_utf8(std::u16string{0xD800, 'a'}), replaced + "a");
    EXPECT_EQ(utf16_to_utf8(std::u16string{0xDC00, 0xD800}), replaced + replaced);
    EXPECT_EQ(utf16_to_utf8(std::u16string{0xD800, 0xD800, 0xDC00}), replaced + "\xF0\x90\x80\x80");
}

TEST(Utf8, SkipsAByteOrderMarkAtTheBeginningOnly) {
    EXPECT_EQ(skip_byte_order_mark("\xEF\xBB\xBFt,x"), "t,x");
    EXPECT_EQ(skip_byte_order_mark("t\xEF\xBB\xBF"), "t\xEF\xBB\xBF");
    EXPECT_EQ(skip_byte_order_mark("\xEF\xBB"), "\xEF\xBB");
    EXPECT_EQ(skip_byte_order_mark(""), "");
}

} // namespace
} // namespace talvora::host
