// An input as lines of text.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::fuzz {

inline std::string_view as_text(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

inline std::vector<std::string> split_lines(const std::uint8_t* data, std::size_t size) {
    std::string_view rest = as_text(data, size);
    std::vector<std::string> lines;
    while (!rest.empty()) {
        lines.emplace_back(rest.substr(0, rest.find('\n')));
        rest.remove_prefix(std::min(rest.size(), lines.back().size() + 1));
    }
    return lines;
}

} // namespace talvora::fuzz
