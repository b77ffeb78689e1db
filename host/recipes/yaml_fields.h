// A map of a YAML document with fixed keys.
#pragma once

#include "host/recipes/recipe_problems.h"
#include "host/recipes/yaml_document.h"

#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

namespace talvora::host {

class YamlFields {
  public:
    // Borrows the map, and reports the keys that are none of these.
    YamlFields(const YamlNode& map, std::span<const std::string> allowed, RecipeProblems& problems);
    YamlFields(const YamlNode& map, std::initializer_list<std::string> allowed,
               RecipeProblems& problems)
        : YamlFields(map, std::span(allowed.begin(), allowed.size()), problems) {}

    // Null when the key is not there.
    const YamlNode* find(std::string_view key) const;

  private:
    const YamlNode& map_;
};

} // namespace talvora::host
