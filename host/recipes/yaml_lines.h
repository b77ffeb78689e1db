// The lines of a YAML text, looked at before it is parsed.
#pragma once

#include "host/recipes/yaml_problem.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// Without a byte order mark; every line, the last one too, ends in a single line feed.
std::string with_plain_line_ends(std::string_view text);

// The lines of a text, which has to outlive them, and where a byte of it stands.
class TextLines {
  public:
    explicit TextLines(std::string_view text);

    const std::vector<std::string_view>& all() const { return lines_; }

    // Both counted from 0, the column in bytes. What is past the end is the end.
    YamlPlace find(std::size_t line, std::size_t column) const;

  private:
    std::vector<std::string_view> lines_;
};

// True when the text can be parsed. Reports the first byte of a kind that has no place in
// it, and every line that is indented by tabs.
bool check_lines(const TextLines& lines, std::vector<YamlProblem>& problems);

} // namespace talvora::host
