#include "library/error_text.h"

#include "host/text/utf8.h"

#include <algorithm>

namespace talvora::library {
namespace {

// The longest beginning of up to `size` bytes that ends with a whole character.
std::string_view cut_text(std::string_view text, std::size_t size) {
    if (text.size() <= size) {
        return text;
    }
    while (size > 0 && !host::begins_code_point(text[size])) {
        --size;
    }
    return text.substr(0, size);
}

} // namespace

void write_error_text(std::string_view text, char* buffer, std::size_t size) noexcept {
    if (buffer == nullptr || size == 0) {
        return;
    }
    const std::string_view fitting = cut_text(text, size - 1);
    *std::ranges::copy(fitting, buffer).out = '\0';
}

} // namespace talvora::library
