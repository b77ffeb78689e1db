// Choosing objects of a tree by a pattern over their full paths, and the order in which
// people expect names.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// Name by name: `*` stands for any letters of one name, `?` for one letter, `[..]` for one
// of those listed or in a range (`[a-z0-9]`; `[!..]` for one of all others); the name `**`
// stands for any number of whole names, none included. A letter is a code point of UTF-8,
// and a byte that is none of it. Whatever else there is, a `[` without its `]` included,
// stands for itself, so `[*]` stands for a star. A leading '/' does not count.
//
// Takes at most the product of both lengths in steps, whatever the pattern.
bool matches_path(std::string_view pattern, std::string_view path);

// True when the text holds one of * ? [
bool is_pattern(std::string_view text);

// Numbers in names are compared as numbers: a2 comes before a10.
void sort_naturally(std::vector<std::string>& texts);

// The names of a path or pattern, which '/' parts; empty ones do not count.
std::vector<std::string> split_names(std::string_view path);

} // namespace talvora::host
