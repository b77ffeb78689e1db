#include "host/recipes/recipe_variables.h"

#include "host/interface/parameters.h"
#include "host/text/join_texts.h"
#include "host/text/nearest_text.h"

#include <fmt/format.h>

#include <utility>
#include <vector>

namespace talvora::host {
namespace {

using Kind = YamlNode::Kind;

constexpr std::string_view OPENING = "${";
constexpr std::string_view ESCAPED_OPENING = "$${";

// A piece of a text: plain, or the name of a variable.
struct Piece {
    std::string text;
    bool is_variable = false;
};

// Takes "${name}" off the text; nothing when it is none.
std::optional<std::string> take_variable(std::string_view& text) {
    const std::size_t end = text.find('}');
    const std::string_view name = text.substr(0, end).substr(OPENING.size());
    if (end == std::string_view::npos || !is_key(name)) {
        return std::nullopt;
    }
    text.remove_prefix(end + 1);
    return std::string(name);
}

// Nothing when a "${" is not followed by a name and '}'.
std::optional<std::vector<Piece>> split_pieces(std::string_view text) {
    std::vector<Piece> pieces;
    std::string plain;
    while (!text.empty()) {
        if (text.starts_with(OPENING)) {
            const auto name = take_variable(text);
            if (!name) {
                return std::nullopt;
            }
            pieces.push_back({std::exchange(plain, {}), false});
            pieces.push_back({*name, true});
        } else {
            const bool is_escaped = text.starts_with(ESCAPED_OPENING);
            plain += is_escaped ? OPENING : text.substr(0, 1);
            text.remove_prefix(is_escaped ? ESCAPED_OPENING.size() : 1);
        }
    }
    pieces.push_back({plain, false});
    std::erase_if(pieces, [](const Piece& piece) { return piece.text.empty(); });
    return pieces;
}

YamlNode make_broken(YamlPlace place) {
    YamlNode node;
    node.kind = Kind::Broken;
    node.place = place;
    return node;
}

YamlNode make_scalar(std::string_view text) {
    YamlNode node;
    node.kind = Kind::Scalar;
    node.text = text;
    return node;
}

YamlNode make_list(YamlNode item) {
    YamlNode node;
    node.kind = Kind::List;
    node.place = item.place;
    node.items.push_back(std::move(item));
    return node;
}

} // namespace

std::string escape_variables(std::string_view text) {
    std::string escaped;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text.substr(i).starts_with(OPENING)) {
            escaped += '$';
        }
        escaped += text[i];
    }
    return escaped;
}

// ---------------------------------------------------------------------------
// Declaring

void RecipeVariables::read(const YamlNode* variables, std::span<const std::string> settings) {
    if (is_given(variables) &&
        problems_.expect_kind(*variables, Kind::Map, "'variables' is a map of names to defaults")) {
        declare(*variables);
    }
    set(settings);
    check_values();
}

void RecipeVariables::declare(const YamlNode& map) {
    for (const YamlNode& entry : map.items) {
        declare_one(entry);
    }
}

void RecipeVariables::declare_one(const YamlNode& entry) {
    if (!is_key(entry.key)) {
        return problems_.add(entry.key_place,
                             fmt::format("'{}' cannot name a variable (allowed: a letter, then "
                                         "letters, digits and '_')",
                                         entry.key));
    }
    Variable variable{.place = entry.key_place, .value = entry};
    check_default(variable.value);
    variables_.emplace(entry.key, std::move(variable));
}

// Resolves what is escaped in it.
void RecipeVariables::check_default(YamlNode& node) {
    if (node.kind == Kind::Map) {
        problems_.add(node.place, "a variable cannot be a map");
        node = make_broken(node.place);
    }
    for (YamlNode& item : node.items) {
        check_default(item);
    }
    if (node.kind != Kind::Scalar) {
        return;
    }
    const auto pieces = split_pieces(node.text);
    if (!pieces || pieces->size() > 1 || (!pieces->empty() && pieces->front().is_variable)) {
        problems_.add(node.place, "a default cannot use variables",
                      "a plain '${' is written '$${'");
        node = make_broken(node.place);
    } else if (!pieces->empty()) {
        node.text = pieces->front().text;
    }
}

// ---------------------------------------------------------------------------
// Setting

void RecipeVariables::set(std::span<const std::string> settings) {
    for (const std::string& setting : settings) {
        set_one(setting);
    }
}

void RecipeVariables::set_one(std::string_view setting) {
    const std::size_t equals = setting.find('=');
    if (equals == std::string_view::npos) {
        return problems_.add_to_setting(
            setting, "has no '='", fmt::format("{} NAME=VALUE", problems_.names().setting_option));
    }
    const std::string_view name = setting.substr(0, equals);
    const auto found = variables_.find(name);
    if (found == variables_.end()) {
        return problems_.add_to_setting(
            name, fmt::format("no variable of that name ({})", describe_names()),
            suggest_nearest(name, names()));
    }
    Variable& variable = found->second;
    YamlNode value = make_scalar(setting.substr(equals + 1));
    if (!std::exchange(variable.is_set, true)) {
        variable.value = std::move(value);
        return;
    }
    if (variable.value.kind == Kind::Scalar) {
        variable.value = make_list(std::move(variable.value));
    }
    variable.value.items.push_back(std::move(value));
}

void RecipeVariables::check_values() {
    for (const auto& [name, variable] : variables_) {
        if (variable.value.kind == Kind::Null) {
            problems_.add(variable.place, fmt::format("variable '{}' has no value", name),
                          fmt::format("{} {}=VALUE", problems_.names().setting_option, name));
        }
    }
}

std::vector<std::string> RecipeVariables::names() const {
    std::vector<std::string> names;
    for (const auto& [name, variable] : variables_) {
        names.push_back(name);
    }
    return names;
}

std::string RecipeVariables::describe_names() const {
    return variables_.empty() ? fmt::format("the {} has none", problems_.names().document)
                              : "known: " + join_texts(names());
}

// ---------------------------------------------------------------------------
// Using

YamlNode RecipeVariables::fill_in(const YamlNode& value, bool wants_list) {
    if (value.kind == Kind::Scalar) {
        return fill_in_text(value, wants_list);
    }
    YamlNode filled = value;
    for (YamlNode& item : filled.items) {
        item = fill_in(item, false);
    }
    return filled;
}

YamlNode RecipeVariables::use(std::string_view name, YamlPlace place, bool wants_list) {
    const auto found = variables_.find(name);
    if (found == variables_.end()) {
        problems_.add(place, fmt::format("no variable '{}' ({})", name, describe_names()),
                      suggest_nearest(name, names()));
        return make_broken(place);
    }
    Variable& variable = found->second;
    variable.is_used = true;
    if (variable.value.kind == Kind::Null) {
        return make_broken(place);
    }
    YamlNode value = variable.value;
    value.place = place;
    const bool is_word = variable.is_set && value.kind == Kind::Scalar;
    return is_word && wants_list ? make_list(std::move(value)) : value;
}

YamlNode RecipeVariables::fill_in_text(const YamlNode& scalar, bool wants_list) {
    const auto pieces = split_pieces(scalar.text);
    if (!pieces) {
        problems_.add(scalar.place, "'${' without a name and '}' behind it",
                      "a plain '${' is written '$${'");
        return make_broken(scalar.place);
    }
    if (pieces->size() == 1 && pieces->front().is_variable) {
        return use(pieces->front().text, scalar.place, wants_list);
    }
    YamlNode filled = scalar;
    filled.text.clear();
    for (const Piece& piece : *pieces) {
        const YamlNode value =
            piece.is_variable ? use(piece.text, scalar.place, false) : make_scalar(piece.text);
        if (value.kind == Kind::List) {
            problems_.add(
                scalar.place,
                fmt::format("variable '{}' is a list and cannot stand within a text", piece.text));
        }
        if (value.kind != Kind::Scalar) {
            filled.kind = Kind::Broken;
        }
        filled.text += value.text;
    }
    return filled;
}

void RecipeVariables::check_uses() {
    for (const auto& [name, variable] : variables_) {
        if (!variable.is_used) {
            problems_.add(variable.place, fmt::format("variable '{}' is not used", name),
                          fmt::format("in a value: ${{{}}}", name));
        }
    }
}

} // namespace talvora::host
