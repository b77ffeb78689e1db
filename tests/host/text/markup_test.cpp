#include "host/text/markup.h"

#include <gtest/gtest.h>

namespace talvora::host {
namespace {

// The references of XML 1.0, section 4.6.
TEST(EscapeMarkup, WritesWhatMarkupBeginsWithAsReferences) {
    EXPECT_EQ(escape_markup("</title><b a=\"1\">&amp;"),
              "&lt;/title&gt;&lt;b a=\"1\"&gt;&amp;amp;");
}

TEST(EscapeMarkup, MakesControlCharactersBlanks) {
    EXPECT_EQ(escape_markup(std::string_view("a\0b\n\t\x1F.", 7)), "a b   .");
}

// XML 1.0, section 2.2.
TEST(EscapeMarkup, ReplacesWhatMarkupMayNotHold) {
    EXPECT_EQ(escape_markup("H\xF6he \xC3"), "H\xEF\xBF\xBDhe \xEF\xBF\xBD");
    EXPECT_EQ(escape_markup("\xED\xA0\x80"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(escape_markup("\xEF\xBF\xBE\xEF\xBF\xBF"), "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(EscapeMarkup, LeavesOtherTextsAsTheyAre) {
    EXPECT_EQ(escape_markup("Walk 'left' (deg/s), H\xC3\xB6he"),
              "Walk 'left' (deg/s), H\xC3\xB6he");
    EXPECT_EQ(escape_markup(""), "");
}

} // namespace
} // namespace talvora::host
