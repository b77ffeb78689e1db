// A YAML text as nodes that know where they stand, read strictly: a repeated key, an
// anchor, an alias, a tag or a second document is a problem, not a surprise.
#pragma once

#include "host/recipes/yaml_problem.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// What is read at most. Both are far beyond what people write, and keep a file of
// garbage from taking long or using up the stack.
constexpr std::size_t MAX_YAML_BYTES = std::size_t{1} << 20;
constexpr std::size_t MAX_YAML_DEPTH = 16;

struct YamlNode {
    enum class Kind { Null, Scalar, List, Map, Broken }; // Broken: reported already

    Kind kind = Kind::Null;
    YamlPlace place;
    std::string text; // of a scalar, as it stands in the file, quotes and escapes resolved
    bool is_quoted = false;
    std::vector<YamlNode> items; // of a list or a map, in the order of the file
    std::string key;             // of a map's item
    YamlPlace key_place;
};

// Whether there is a node with something in it.
bool is_given(const YamlNode* node);

// For messages: "a list", "'x'", "the text '5'" when it stands in quotes, "nothing".
std::string describe_node(const YamlNode& node);

// UTF-8 with or without a byte order mark, lines ending in any way. What is wrong is
// appended to the problems; the node then holds what can still be looked at. Nothing when
// the text holds no document, or none that can be read.
std::optional<YamlNode> parse_yaml(std::string_view text, std::vector<YamlProblem>& problems);

} // namespace talvora::host
