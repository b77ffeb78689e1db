// Several texts as one.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace talvora::host {

// "Axis, Order"
std::string join_texts(std::span<const std::string> texts, std::string_view separator = ", ");

} // namespace talvora::host
