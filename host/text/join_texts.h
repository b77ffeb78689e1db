// Several texts as one.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace talvora::host {

// "Axis, Order"
std::string join_texts(std::span<const std::string> texts, std::string_view separator = ", ");

// The first of them, and how many there are where that is not all: "A, B, C, D, E, ... 7 in all".
std::string list_some(std::span<const std::string> texts);

} // namespace talvora::host
