// Bytes as text.
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace talvora::host {

// RFC 4648, section 4: padded with '=', without line ends.
std::string encode_base64(std::span<const std::byte> bytes);

} // namespace talvora::host
