#include "host/text/join_texts.h"

#include <fmt/format.h>

#include <cstddef>

namespace talvora::host {

std::string join_texts(std::span<const std::string> texts, std::string_view separator) {
    std::string joined;
    for (const std::string& text : texts) {
        joined += &text == texts.data() ? "" : separator;
        joined += text;
    }
    return joined;
}

std::string list_some(std::span<const std::string> texts) {
    constexpr std::size_t MAX_SHOWN = 5;
    return texts.size() <= MAX_SHOWN
               ? join_texts(texts)
               : fmt::format("{}, ... {} in all", join_texts(texts.first(MAX_SHOWN)), texts.size());
}

std::string begin_with(std::string_view source, std::string_view text) {
    return source.empty() ? std::string(text) : fmt::format("{}: {}", source, text);
}

} // namespace talvora::host
