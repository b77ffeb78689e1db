#include "host/text/ascii.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace talvora::host {
namespace {

// Of all 256 bytes, those of a kind.
template <typename Kind>
std::string bytes_of(Kind kind) {
    std::string found;
    for (int byte = 0; byte < 256; ++byte) {
        if (kind(static_cast<char>(byte))) {
            found += static_cast<char>(byte);
        }
    }
    return found;
}

TEST(Ascii, KnowsLettersAndDigitsOfAsciiAlone) {
    EXPECT_EQ(bytes_of(is_digit), "0123456789");
    EXPECT_EQ(bytes_of(is_letter), "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
}

TEST(Ascii, KnowsControlCharacters) {
    EXPECT_EQ(bytes_of(is_control),
              std::string_view("\0\1\2\3\4\5\6\7\10\11\12\13\14\15\16\17\20\21\22\23\24\25\26\27"
                               "\30\31\32\33\34\35\36\37\177",
                               33));
}

TEST(Ascii, MakesCapitalLettersSmallAndNothingElse) {
    std::string lower;
    for (const char c : std::string_view("AZaz@[`{09\xC4\xE4")) {
        lower += to_lower(c);
    }
    EXPECT_EQ(lower, "azaz@[`{09\xC4\xE4");
}

} // namespace
} // namespace talvora::host
