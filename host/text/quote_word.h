// Words as a shell takes them.
#pragma once

#include <string>
#include <string_view>

namespace talvora::host {

// As one word of a shell command. One with control characters is quoted as $'...' with their
// numbers, as bash, zsh and POSIX since 2024 take it.
std::string quote_word(std::string_view word);

} // namespace talvora::host
