// The variables of a recipe, or of another document: declared with a default, set on the command
// line, used in values as ${name}.
#pragma once

#include "host/recipes/recipe_problems.h"
#include "host/recipes/yaml_document.h"

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// How a text is written so that nothing in it is taken for a variable: each "${" as "$${".
std::string escape_variables(std::string_view text);

class RecipeVariables {
  public:
    explicit RecipeVariables(RecipeProblems& problems) : problems_(problems) {}

    // Before the uses. The document's 'variables', null for none: a map of name to default, which
    // is a text, number or boolean, or a list of them; `~` for a variable that has to be set.
    // The settings: "name=value" each. A name given several times makes a list.
    void read(const YamlNode* variables, std::span<const std::string> settings);

    // A value whose whole text is ${name} becomes the variable's value with its type,
    // quoted or not; within a text the variable's own text is put in. The place stays the
    // one of the use. A single setting is a list of one where a list is wanted, as on the
    // command line. Broken when there is a problem.
    YamlNode fill_in(const YamlNode& value, bool wants_list);
    // To be called after the uses.
    void check_uses();

  private:
    struct Variable {
        YamlPlace place;
        YamlNode value; // Null: none yet
        bool is_set = false;
        bool is_used = false;
    };

    void declare(const YamlNode& map);
    void declare_one(const YamlNode& entry);
    void check_default(YamlNode& node);
    void set(std::span<const std::string> settings);
    void set_one(std::string_view setting);
    void check_values();
    std::vector<std::string> names() const;
    std::string describe_names() const;
    YamlNode use(std::string_view name, YamlPlace place, bool wants_list);
    YamlNode fill_in_text(const YamlNode& scalar, bool wants_list);

    RecipeProblems& problems_;
    std::map<std::string, Variable, std::less<>> variables_;
};

} // namespace talvora::host
