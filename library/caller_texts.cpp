#include "library/caller_texts.h"

#include "host/text/utf8.h"
#include "library/guarded_call.h"

#include <fmt/format.h>

namespace talvora::library {

void check_pointer(const void* pointer, std::string_view name) {
    if (pointer == nullptr) {
        throw InvalidArgument(fmt::format("{} is NULL", name));
    }
}

std::string read_text(const char* text, std::string_view name) {
    check_pointer(text, name);
    if (host::find_invalid_utf8(text)) {
        throw InvalidArgument(
            fmt::format("{} is no UTF-8: '{}'", name, host::escape_invalid_utf8(text)));
    }
    return text;
}

void Teller::tell(int32_t level, std::string_view text) const {
    if (tell_ != nullptr) {
        tell_(context_, level, host::escape_invalid_utf8(text).c_str());
    }
}

} // namespace talvora::library
