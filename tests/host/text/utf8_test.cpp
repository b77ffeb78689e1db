#include "host/text/utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace talvora::host {
namespace {

TEST(Utf8Test, CountsLettersAndNotBytes) {
    EXPECT_EQ(count_code_points(""), 0U);
    EXPECT_EQ(count_code_points("a\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80"), 4U); // a, ü, €, a face
}

TEST(Utf8Test, AcceptsTheFirstAndTheLastOfEachLength) {
    for (const char* text :
         {"\x01", "\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
          "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_EQ(find_invalid_utf8(text), std::string_view::npos) << text;
    }
}

TEST(Utf8Test, FindsTheFirstByteThatIsNone) {
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

} // namespace
} // namespace talvora::host
