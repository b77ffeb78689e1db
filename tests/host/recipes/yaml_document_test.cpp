#include "host/recipes/yaml_document.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvora::host {

// Shown when an expectation fails.
void PrintTo(const YamlProblem& problem, std::ostream* out) {
    *out << problem.place.line << ":" << problem.place.column << ": " << problem.text;
}

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using Kind = YamlNode::Kind;

std::vector<YamlProblem> problems_of(std::string_view text) {
    std::vector<YamlProblem> problems;
    parse_yaml(text, problems);
    return problems;
}

YamlNode read_good(std::string_view text) {
    std::vector<YamlProblem> problems;
    const auto node = parse_yaml(text, problems);
    EXPECT_THAT(problems, IsEmpty());
    return node.value_or(YamlNode());
}

MATCHER_P3(IsProblem, line, column, text, "") {
    return arg.place == (YamlPlace{line, column}) && arg.text.find(text) != std::string::npos;
}
auto problem(std::size_t line, std::size_t column, const char* text) {
    return IsProblem(line, column, std::string(text));
}

TEST(YamlDocument, KnowsWhatStandsWhere) {
    const YamlNode root = read_good("a: 1\nb:\n  - 'x'\n  - ~\n");
    ASSERT_EQ(root.kind, Kind::Map);
    ASSERT_THAT(root.items, SizeIs(2));
    EXPECT_EQ(root.items[0].key, "a");
    EXPECT_EQ(root.items[0].text, "1");
    EXPECT_FALSE(root.items[0].is_quoted);
    EXPECT_EQ(root.items[0].place, (YamlPlace{1, 4}));
    const YamlNode& list = root.items[1];
    EXPECT_EQ(list.key_place, (YamlPlace{2, 1}));
    ASSERT_THAT(list.items, SizeIs(2));
    EXPECT_TRUE(list.items[0].is_quoted);
    EXPECT_EQ(list.items[0].place, (YamlPlace{3, 5}));
    EXPECT_EQ(list.items[1].kind, Kind::Null);
}

TEST(YamlDocument, CountsColumnsInLetters) {
    // Byte 8 of the line, letter 7: "gr" u-umlaut sharp-s "e:" and a blank.
    EXPECT_EQ(read_good("gr\xC3\xBC\xC3\x9F"
                        "e: 1\n")
                  .items.at(0)
                  .place,
              (YamlPlace{1, 8}));
    EXPECT_EQ(read_good("gr\xC3\xBC\xC3\x9F"
                        "e: 1\n")
                  .items.at(0)
                  .key,
              "gr\xC3\xBC\xC3\x9F"
              "e");
}

TEST(YamlDocument, TakesAByteOrderMarkAndAnyLineEnds) {
    for (const char* text : {"\xEF\xBB\xBF"
                             "a: 1\nb: 2\n",
                             "a: 1\r\nb: 2\r\n", "a: 1\rb: 2\r", "a: 1\nb: 2"}) {
        const YamlNode root = read_good(text);
        ASSERT_THAT(root.items, SizeIs(2)) << text;
        EXPECT_EQ(root.items[0].text, "1");
        EXPECT_EQ(root.items[1].key_place, (YamlPlace{2, 1}));
    }
}

TEST(YamlDocument, FindsNothingInATextWithoutADocument) {
    for (const char* text : {"", "\n\n", "# a comment\n", "---\n", "...\n"}) {
        EXPECT_EQ(read_good(text).kind, Kind::Null) << text;
    }
}

TEST(YamlDocument, TakesOneDocumentWithItsMarks) {
    EXPECT_THAT(read_good("%YAML 1.2\n---\na: 1\n...\n").items, SizeIs(1));
}

TEST(YamlDocument, RefusesASecondDocument) {
    EXPECT_THAT(problems_of("a: 1\n---\nb: 2\n"),
                ElementsAre(problem(2, 1, "a second document begins here")));
}

TEST(YamlDocument, FindsRepeatedKeysAtEveryDepth) {
    EXPECT_THAT(problems_of("a: 1\nb: {c: 1, c: 2}\na: 3\n"),
                ElementsAre(problem(2, 11, "the key 'c' is repeated (it stands in line 2)"),
                            problem(3, 1, "the key 'a' is repeated (it stands in line 1)")));
}

TEST(YamlDocument, RefusesAnchorsAliasesAndTags) {
    EXPECT_THAT(problems_of("a: &x 1\nb: *x\nc: !!str 2\n"),
                ElementsAre(problem(1, 4, "an anchor ('&') is not taken"),
                            problem(2, 4, "an alias ('*') is not taken"),
                            problem(3, 4, "a tag ('tag:yaml.org,2002:str') is not taken")));
}

TEST(YamlDocument, DoesNotMultiplyAliases) {
    std::string text = "a0: &a0 [x, x, x, x, x, x, x, x, x, x]\n";
    for (int i = 1; i < 10; ++i) {
        const std::string alias = "*a" + std::to_string(i - 1);
        text += "a" + std::to_string(i) + ": &a" + std::to_string(i) + " [" + alias + ", " + alias +
                ", " + alias + ", " + alias + "]\n";
    }
    EXPECT_THAT(problems_of(text), SizeIs(10 + 9 * 4));
}

TEST(YamlDocument, RefusesKeysThatAreNoTexts) {
    EXPECT_THAT(problems_of("? [a]\n: 1\n"), ElementsAre(problem(1, 3, "a key has to be a text")));
    EXPECT_THAT(problems_of("~: 1\n"), ElementsAre(problem(1, 1, "a key has to be a text")));
}

TEST(YamlDocument, NamesEveryLineIndentedByTabs) {
    EXPECT_THAT(problems_of("a:\n\tb: 1\n  \tc: 2\nd: \"a\tb\"\n"),
                ElementsAre(problem(2, 1, "a tab"), problem(3, 3, "a tab")));
}

TEST(YamlDocument, RefusesTextsThatAreNoUtf8) {
    EXPECT_THAT(problems_of("a: 1\nb: \xC3\xBC\xFC\n"),
                ElementsAre(problem(2, 5, "the byte 0xfc is no UTF-8")));
    EXPECT_THAT(problems_of("\xFF\xFE"
                            "a"),
                ElementsAre(problem(1, 1, "the byte 0xff")));
}

// YAML 1.2.2, section 5.7: \_ is U+00A0, \N is U+0085.
TEST(YamlDocument, TakesTheEscapesOfLettersBeyondAscii) {
    EXPECT_EQ(read_good(R"("\_")").text, "\xC2\xA0");
    EXPECT_EQ(read_good(R"("\N")").text, "\xC2\x85");
    EXPECT_EQ(read_good(R"("a\_\_\N\u00e9\_b\L\P\xA0")").text,
              "a\xC2\xA0\xC2\xA0\xC2\x85\xC3\xA9\xC2\xA0"
              "b\xE2\x80\xA8\xE2\x80\xA9\xC2\xA0");
}

TEST(YamlDocument, RefusesBinaryContent) {
    EXPECT_THAT(problems_of(std::string("\x89HDF\r\n\x1a\n\0\0\0", 11)), SizeIs(1));
    EXPECT_THAT(problems_of(std::string("a: b\0c", 6)),
                ElementsAre(problem(1, 5, "the byte 0x00 has no place in a text")));
    EXPECT_THAT(problems_of("\x7F"
                            "ELF"),
                ElementsAre(problem(1, 1, "the byte 0x7f")));
}

TEST(YamlDocument, StopsBeforeDeepNesting) {
    constexpr std::size_t DEEP = 20'000;
    std::string maps, lists;
    for (std::size_t i = 0; i < DEEP; ++i) {
        maps += "{a: ";
        lists += "- ";
    }
    for (const std::string& text : {std::string(DEEP, '['), std::string(DEEP, '{'), maps, lists}) {
        EXPECT_THAT(problems_of(text),
                    ElementsAre(testing::Field(&YamlProblem::text, "nested more than 16 deep")));
    }
    EXPECT_THAT(problems_of(std::string(16, '[') + std::string(16, ']')), IsEmpty());
}

TEST(YamlDocument, RefusesMoreThanAMebibyteUnseen) {
    const std::string garbage(10'000'000, '\xFF');
    EXPECT_THAT(problems_of(garbage), ElementsAre(problem(1, 1, "more than 1048576 bytes")));
    EXPECT_THAT(problems_of(std::string(std::size_t{1} << 20, '#')), IsEmpty());
}

TEST(YamlDocument, TellsWhatIsNotClosed) {
    for (const char* text : {"a: \"b\nc: 1\n", "a: 'b\n", "a: [1, 2\n", "a: {b: 1"}) {
        EXPECT_THAT(problems_of(text), SizeIs(1)) << text;
    }
    EXPECT_THAT(problems_of("a: \"b\nc: 1\n").at(0).text, HasSubstr("not closed"));
}

TEST(YamlDocument, HelpsWithCommonSlips) {
    const auto colon = problems_of("a: b: c\n");
    EXPECT_THAT(colon, ElementsAre(problem(1, 5, "no YAML: ")));
    EXPECT_THAT(colon.at(0).hint, HasSubstr("in quotes"));
    EXPECT_THAT(problems_of("a: [${x}/y]\n").at(0).hint, HasSubstr("${name} stands in quotes"));
}

} // namespace
} // namespace talvora::host
