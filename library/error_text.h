// The sentence that a failed call leaves in its caller's buffer.
#pragma once

#include <cstddef>
#include <string_view>

namespace talvora::library {

// Writes a text of UTF-8 and a NUL into `size` bytes, cut at the end of a character where it does
// not fit. Nothing without a buffer or a size.
void write_error_text(std::string_view text, char* buffer, std::size_t size) noexcept;

} // namespace talvora::library
