#include "host/text/join_texts.h"

namespace talvora::host {

std::string join_texts(std::span<const std::string> texts, std::string_view separator) {
    std::string joined;
    for (const std::string& text : texts) {
        joined += &text == texts.data() ? "" : separator;
        joined += text;
    }
    return joined;
}

} // namespace talvora::host
