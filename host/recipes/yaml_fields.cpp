#include "host/recipes/yaml_fields.h"

#include "host/text/join_texts.h"
#include "host/text/nearest_text.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvora::host {

YamlFields::YamlFields(const YamlNode& map, std::span<const std::string> allowed,
                       RecipeProblems& problems)
    : map_(map) {
    for (const YamlNode& entry : map.items) {
        if (std::ranges::find(allowed, entry.key) == allowed.end()) {
            problems.add(
                entry.key_place,
                fmt::format("unknown key '{}' (known: {})", entry.key, join_texts(allowed)),
                suggest_nearest(entry.key, allowed));
        }
    }
}

const YamlNode* YamlFields::find(std::string_view key) const {
    const auto found = std::ranges::find(map_.items, key, &YamlNode::key);
    return found == map_.items.end() ? nullptr : &*found;
}

} // namespace talvora::host
