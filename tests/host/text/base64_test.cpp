#include "host/text/base64.h"

#include <gtest/gtest.h>

#include <string_view>
#include <utility>

namespace talvora::host {
namespace {

std::string encode(std::string_view text) {
    return encode_base64(std::as_bytes(std::span(text)));
}

// The test vectors of RFC 4648, section 10.
TEST(EncodeBase64, GivesThePublishedTexts) {
    const std::pair<std::string_view, std::string_view> examples[] = {{"", ""},
                                                                      {"f", "Zg=="},
                                                                      {"fo", "Zm8="},
                                                                      {"foo", "Zm9v"},
                                                                      {"foob", "Zm9vYg=="},
                                                                      {"fooba", "Zm9vYmE="},
                                                                      {"foobar", "Zm9vYmFy"}};
    for (const auto& [text, encoded] : examples) {
        EXPECT_EQ(encode(text), encoded);
    }
}

// Six bits at a time: 62 and 63 are the two that are neither letters nor digits.
TEST(EncodeBase64, TakesEveryByte) {
    EXPECT_EQ(encode("\xFB\xEF\xBE"), "++++");
    EXPECT_EQ(encode("\xFF\xFF\xFF"), "////");
    EXPECT_EQ(encode(std::string_view("\0\0\0", 3)), "AAAA");
}

} // namespace
} // namespace talvora::host
