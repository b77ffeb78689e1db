// Text as it stands in HTML and SVG.
#pragma once

#include <string>
#include <string_view>

namespace talvora::host {

// Between tags, not within them. Control characters, few of which XML allows, become spaces; bytes
// that are no UTF-8, and code points that XML does not allow, become U+FFFD.
std::string escape_markup(std::string_view text);

} // namespace talvora::host
