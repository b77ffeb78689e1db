#include "host/recipes/recipe_value.h"

#include <fmt/format.h>

#include <cstdint>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

using Kind = YamlNode::Kind;

bool is_text_type(ParameterType type) {
    return type == ParameterType::String || type == ParameterType::StringList;
}

ParameterValue make_empty_list(ParameterType type) {
    return type == ParameterType::StringList ? ParameterValue(std::vector<std::string>())
                                             : ParameterValue(std::vector<std::int64_t>());
}

class ValueReader {
  public:
    ValueReader(const ParameterSignature& signature, RecipeProblems& problems)
        : signature_(signature), problems_(problems) {}

    std::optional<ParameterValue> read(const YamlNode& node) {
        if (!is_list(signature_.type)) {
            return read_item(node);
        }
        if (node.kind == Kind::List) {
            return read_list(node);
        }
        return refuse(node, describe_node(node), "a list is written [a, b], or a '- ' per line");
    }

  private:
    std::optional<ParameterValue> read_list(const YamlNode& node) {
        ParameterValue list = make_empty_list(signature_.type);
        bool is_whole = true;
        for (const YamlNode& item : node.items) {
            const auto value = read_item(item);
            is_whole = is_whole && value && append_items(list, *value);
        }
        return is_whole ? std::optional(list) : std::nullopt;
    }

    // One value, or a list of one.
    std::optional<ParameterValue> read_item(const YamlNode& node) {
        if (node.kind != Kind::Scalar) {
            return refuse(node, describe_node(node),
                          node.kind == Kind::Null ? "the empty text is written \"\"" : "");
        }
        // The units take texts that end at the first zero byte.
        if (node.text.find('\0') != std::string::npos) {
            return refuse(node, "a text with a zero byte", "");
        }
        const auto value = read_value(signature_.type, node.text);
        if (value && node.is_quoted && !is_text_type(signature_.type)) {
            return refuse(node, describe_node(node),
                          fmt::format("without the quotes: {}", node.text));
        }
        return value ? value : refuse(node, describe_node(node), "");
    }

    std::nullopt_t refuse(const YamlNode& node, std::string_view shown, std::string_view hint) {
        if (node.kind != Kind::Broken) {
            // Where nothing stands, the place is that of what comes next.
            const bool has_no_place = node.kind == Kind::Null && !node.key.empty();
            problems_.add(has_no_place ? node.key_place : node.place,
                          explain_wrong_value(signature_, shown).text, hint);
        }
        return std::nullopt;
    }

    const ParameterSignature& signature_;
    RecipeProblems& problems_;
};

} // namespace

std::optional<ParameterValue> read_recipe_value(const ParameterSignature& signature,
                                                const YamlNode& node, RecipeProblems& problems) {
    return ValueReader(signature, problems).read(node);
}

} // namespace talvora::host
