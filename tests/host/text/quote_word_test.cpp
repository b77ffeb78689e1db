#include "host/text/quote_word.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <memory>

namespace talvora::host {
namespace {

// What a shell takes the word for.
std::string read_by_shell(const std::string& word) {
    const std::string command = "printf %s " + word;
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

TEST(QuoteWord, IsReadBackByAShell) {
    for (const std::string word :
         {"",     "a b",         "it's", "''", "$HOME", "`x`", "$(x)",  "a\\b",
          "a\nb", "*",           "?[!",  "#",  "-n",    "a;b", "{a,b}", "a&&b",
          "!x",   "H\xC3\xB6he", "\xFF", "\"", "~root", "a=b"}) {
        EXPECT_EQ(read_by_shell(quote_word(word)), word);
    }
}

} // namespace
} // namespace talvora::host
