#include "host/text/base64.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace talvora::host {

std::string encode_base64(std::span<const std::byte> bytes) {
    constexpr std::string_view LETTERS =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            group = (group << 8) | (k < count ? std::to_integer<std::uint32_t>(bytes[i + k]) : 0);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            text += k <= count ? LETTERS[(group >> (18 - 6 * k)) & 0x3F] : '=';
        }
    }
    return text;
}

} // namespace talvora::host
