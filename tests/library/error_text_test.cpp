#include "library/error_text.h"

#include <gtest/gtest.h>

#include <string>

namespace talvora::library {
namespace {

// What stands in a buffer of so many bytes, and whether the bytes behind were left alone.
std::string written(const std::string& text, std::size_t size) {
    std::string buffer(32, '#');
    write_error_text(text, buffer.data(), size);
    EXPECT_EQ(buffer.substr(size), std::string(32 - size, '#'));
    return size == 0 ? "" : buffer.c_str();
}

TEST(ErrorText, IsWholeWhereItFits) {
    EXPECT_EQ(written("abc", 4), "abc");
    EXPECT_EQ(written("", 1), "");
}

TEST(ErrorText, IsCutAtTheEndOfACharacter) {
    EXPECT_EQ(written("abc", 3), "ab");
    // Of two, three and four bytes.
    EXPECT_EQ(written("a\u00E4b", 4), "a\u00E4");
    EXPECT_EQ(written("a\u00E4b", 3), "a");
    EXPECT_EQ(written("a\u20ACb", 4), "a");
    EXPECT_EQ(written("\U0001F600b", 5), "\U0001F600");
    EXPECT_EQ(written("\U0001F600b", 4), "");
    EXPECT_EQ(written("abc", 1), "");
}

TEST(ErrorText, NeedsNoBuffer) {
    EXPECT_EQ(written("abc", 0), "");
    write_error_text("abc", nullptr, 0);
    write_error_text("abc", nullptr, 5);
}

} // namespace
} // namespace talvora::library
