// What a message is to its reader.
#pragma once

#include <optional>
#include <string_view>

namespace talvora::host {

// A detail is an info that --verbose alone shows.
enum class MessageLevel { Error, Warning, Info, Hint, Detail };

// "error" and the like, in lower case.
std::string_view level_name(MessageLevel level);
std::optional<MessageLevel> find_level(std::string_view name);

} // namespace talvora::host
