// Control characters in texts that come from elsewhere: names, attributes, messages. A terminal
// takes some of them for commands; those for the direction of text let it show another order of
// letters than a name has.
#pragma once

#include <string>
#include <string_view>

namespace talvora::host {

// A blank for each control character: those of C0 but for what is kept, the one for deletion,
// those of C1, U+0080 to U+009F, be they UTF-8 or single bytes, and those for the direction of
// text, U+061C, U+200E, U+200F, U+202A to U+202E and U+2066 to U+2069. All else stays.
std::string blank_controls(std::string_view text, std::string_view kept);

// In a JSON document, which holds them within texts alone: the one for deletion, those of C1 and
// those for the direction of text as \u and their number. The document stays the same.
std::string escape_controls_of_json(std::string_view json);

} // namespace talvora::host
