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

// With them a terminal shows a name in another order than it has.
TEST(BlankControls, LeavesNothingThatTurnsTheDirectionOfText) {
    EXPECT_EQ(blank_controls("a\u061Cb\u200Ec\u200Fd", ""), "a b c d");
    EXPECT_EQ(blank_controls("\u202A\u202B\u202C\u202D\u202E.", ""), "     .");
    EXPECT_EQ(blank_controls("\u2066\u2067\u2068\u2069.", ""), "    .");
    for (const char* text :
         {"\u200D", "\u2010", "\u2029", "\u202F", "\u2065", "\u206A", "\u05D0\u0627"}) {
        EXPECT_EQ(blank_controls(text, ""), text);
    }
}

TEST(BlankControls, KeepsWhatItIsToldTo) {
    EXPECT_EQ(blank_controls("a\tb\nc\r", "\t\n"), "a\tb\nc ");
}

TEST(EscapeControlsOfJson, WritesThemByTheirNumber) {
    EXPECT_EQ(escape_controls_of_json("{\n  \"\x7f\": \"\xC2\x9B\xC3\x9B\"\n}"),
              "{\n  \"\\u007f\": \"\\u009b\xC3\x9B\"\n}");
    EXPECT_EQ(escape_controls_of_json("\"\u061C\u200F\u202E\u2069\u2010\""),
              "\"\\u061c\\u200f\\u202e\\u2069\u2010\"");
}

} // namespace
} // namespace talvora::host
