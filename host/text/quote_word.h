// Words as a shell takes them.
#pragma once

#include <string>
#include <string_view>

namespace talvora::host {

// As one word of a shell command.
std::string quote_word(std::string_view word);

} // namespace talvora::host
