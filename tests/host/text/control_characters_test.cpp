#include "host/text/control_characters.h"

#include <gtest/gtest.h>

namespace talvora::host {
namespace {

TEST(BlankControls, LeavesNothingThatATerminalObeys) {
    EXPECT_EQ(blank_controls("a\nb\x1b[31m\x7f.\t", "\t"), "a b [31m .\t");
    EXPECT_EQ(blank_controls(std::string_view("a\0b", 3), ""), "a b");
    EXPECT_EQ(blank_controls("\xC2\x9B"
                             "31m \xC2\x80\xC2\x9F\xC2\xA0",
                             ""),
              " 31m   \xC2\xA0"); // the letters from U+0080 to U+009F
    EXPECT_EQ(blank_controls("\x9B"
                             "31m\x80",
                             ""),
              " 31m "); // the same as bytes of Latin-1
}

TEST(BlankControls, LeavesLettersOfWhichSuchBytesArePart) {
    for (const char* text : {"\xC3\x9B", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xE9", "\xC2\xA0"}) {
        EXPECT_EQ(blank_controls(text, ""), text);
    }
    EXPECT_EQ(blank_controls("\xE9\x9B", ""), "\xE9 "); // cut off: each byte by itself
}

TEST(BlankControls, KeepsWhatItIsToldTo) {
    EXPECT_EQ(blank_controls("a\tb\nc\r", "\t\n"), "a\tb\nc ");
}

TEST(EscapeControlsOfJson, WritesThemByTheirNumber) {
    EXPECT_EQ(escape_controls_of_json("{\n  \"\x7f\": \"\xC2\x9B\xC3\x9B\"\n}"),
              "{\n  \"\\u007f\": \"\\u009b\xC3\x9B\"\n}");
}

} // namespace
} // namespace talvora::host
