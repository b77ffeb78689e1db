#include "host/recipes/yaml_lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvora::host {
namespace {

using testing::ElementsAre;

TEST(PlainLineEnds, EndEveryLine) {
    EXPECT_EQ(with_plain_line_ends("a\r\nb\rc\n\nd"), "a\nb\nc\n\nd\n");
    EXPECT_EQ(with_plain_line_ends("a\r\r\n"), "a\n\n");
    EXPECT_EQ(with_plain_line_ends("\xEF\xBB\xBF-\n"), "-\n");
    EXPECT_EQ(with_plain_line_ends(""), "\n");
}

TEST(TextLines, CountLettersAndNotBytes) {
    const TextLines lines("a\nH\xC3\xB6he: 1\n");
    EXPECT_THAT(lines.all(), ElementsAre("a", "H\xC3\xB6he: 1", ""));
    EXPECT_EQ(lines.find(0, 0), (YamlPlace{1, 1}));
    EXPECT_EQ(lines.find(1, 5), (YamlPlace{2, 5}));
    EXPECT_EQ(lines.find(9, 0), (YamlPlace{3, 1}));
}

// The first of a kind that has no place in a text ends the search, tabs in front do not.
TEST(CheckLines, TellsWhatHasNoPlaceInAText) {
    std::vector<YamlProblem> problems;
    EXPECT_TRUE(check_lines(TextLines("a:\tb\n  - c\n"), problems));
    EXPECT_FALSE(check_lines(TextLines("\ta\n \tb\nc\x07\n\x08"), problems));
    ASSERT_EQ(problems.size(), 3U);
    EXPECT_EQ(problems[0].place, (YamlPlace{1, 1}));
    EXPECT_EQ(problems[1].place, (YamlPlace{2, 2}));
    EXPECT_EQ(problems[2].place, (YamlPlace{3, 2}));
    EXPECT_EQ(problems[2].text, "the byte 0x07 has no place in a text");
    problems.clear();
    EXPECT_FALSE(check_lines(TextLines("a\n\xC3\xB6\xC0\xAF"), problems));
    ASSERT_EQ(problems.size(), 1U);
    EXPECT_EQ(problems[0].place, (YamlPlace{2, 2}));
    EXPECT_EQ(problems[0].text, "the byte 0xc0 is no UTF-8");
}

} // namespace
} // namespace talvora::host
