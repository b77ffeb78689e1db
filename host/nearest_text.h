// Finds what a mistyped word was probably meant to be.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace talvora::host {

// The known text with the smallest edit distance (insert, delete, replace one letter;
// letter case does not count), the first of several; nothing when more than a third of
// the word, and more than two letters, would have to change.
std::optional<std::string> find_nearest(std::string_view word, std::span<const std::string> known);

} // namespace talvora::host
