// Finds what a mistyped word was probably meant to be, for messages.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace talvora::host {

// The known text with the smallest edit distance (insert, delete, replace one letter;
// letter case of ASCII does not count), the first of several. When more than a third of the word,
// and more than two letters, would have to change, the first that holds the whole word, if it has
// four letters or more; else nothing.
std::optional<std::string> find_nearest(std::string_view word, std::span<const std::string> known);

// "did you mean 'Axis'?"; empty when nothing is near.
std::string suggest_nearest(std::string_view word, std::span<const std::string> known);

} // namespace talvora::host
