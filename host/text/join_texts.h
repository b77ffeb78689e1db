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

// "walk.h5: Imu is a group"; the text alone where no source is named.
std::string begin_with(std::string_view source, std::string_view text);

} // namespace talvora::host
