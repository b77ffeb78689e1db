#include "host/text/quote_word.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <memory>

namespace talvora::host {
namespace {

// What a shell takes the word for. The plainest one knows no $'...'.
std::string read_by_shell(const std::string& word) {
    const std::string command = "bash << 'END OF INPUT'\nprintf %s " + word + "\nEND OF INPUT\n";
    const std::unique_ptr<FILE, decltype(&pclose)> shell(popen(command.c_str(), "r"), &pclose);
    std::array<char, 256> text{};
    return {text.data(), std::fread(text.data(), 1, text.size(), shell.get())};
}

TEST(QuoteWord, LeavesPlainWordsAsTheyAre) {
    EXPECT_EQ(quote_word("/data/walk-2_a.h5::Imu@1:2%,+"), "/data/walk-2_a.h5::Imu@1:2%,+");
}

TEST(QuoteWord, QuotesWhatAShellWouldChange) {
    EXPECT_EQ(quote_word(""), "''");
    EXPECT_EQ(quote_word("a b"), "'a b'");
    EXPECT_EQ(quote_word("it's"), "'it'\\''s'");
    EXPECT_EQ(quote_word("a=b"), "'a=b'");
    EXPECT_EQ(quote_word("~"), "'~'");
}

TEST(QuoteWord, WritesControlCharactersAsNumbers) {
    EXPECT_EQ(quote_word("a\nb"), "$'a\\012b'");
    EXPECT_EQ(quote_word("it's\t\\"), "$'it\\'s\\011\\\\'");
    EXPECT_EQ(quote_word("\xE2\x80\xAE"), "$'\\342\\200\\256'"); // turns the text behind it
}

TEST(QuoteWord, IsReadBackByAShell) {
    for (const std::string word : {"",
                                   "a b",
                                   "it's",
                                   "''",
                                   "$HOME",
                                   "`x`",
                                   "$(x)",
                                   "a\\b",
                                   "a\nb",
                                   "\x1B[1m'\\\r",
                                   "\t\n",
                                   "\xC2\x9B"
                                   "31",
                                   "*",
                                   "?[!",
                                   "#",
                                   "-n",
                                   "a;b",
                                   "{a,b}",
                                   "a&&b",
                                   "!x",
                                   "H\xC3\xB6he",
                                   "\xFF",
                                   "\"",
                                   "~root",
                                   "a=b"}) {
        EXPECT_EQ(read_by_shell(quote_word(word)), word);
    }
}

} // namespace
} // namespace talvora::host
