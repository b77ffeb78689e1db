// Choosing objects of a tree by a pattern over their full paths.
#pragma once

#include <string_view>

namespace talvora::host {

// Name by name: `*` stands for any letters of one name, `?` for one, `[..]` for one of
// those listed; the name `**` stands for any number of whole names, none included. A
// leading '/' does not count.
bool matches_path(std::string_view pattern, std::string_view path);

} // namespace talvora::host
