#include "host/recipes/recipe_writer.h"

#include "host/recipes/recipe_variables.h"
#include "host/text/ascii.h"
#include "host/text/failure.h"
#include "host/text/join_texts.h"
#include "host/text/utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace talvora::host {
namespace {

// ---------------------------------------------------------------------------
// Texts

// Words that other readers of YAML take for something else than a text.
constexpr std::array<std::string_view, 12> RESERVED = {
    "true", "false", "yes", "no", "on", "off", "null", "y", "n", "nan", "inf", "infinity"};

bool is_plain_letter(char c) {
    constexpr std::string_view PLAIN = "/._-";
    return is_letter(c) || is_digit(c) || PLAIN.find(c) != std::string_view::npos;
}

bool can_be_plain(std::string_view text) {
    const auto is_same = [&](std::string_view word) {
        return std::ranges::equal(text, word, {}, to_lower);
    };
    return !text.empty() && is_letter(text.front()) && std::ranges::all_of(text, is_plain_letter) &&
           std::ranges::none_of(RESERVED, is_same);
}

std::string escape_letter(char c) {
    constexpr std::pair<char, std::string_view> ESCAPES[] = {
        {'"', "\\\""}, {'\\', "\\\\"}, {'\n', "\\n"}, {'\t', "\\t"}, {'\r', "\\r"}};
    for (const auto& [letter, escape] : ESCAPES) {
        if (c == letter) {
            return std::string(escape);
        }
    }
    return is_control(c) ? fmt::format("\\x{:02X}", c) : std::string(1, c);
}

std::string format_text(std::string_view text) {
    if (find_invalid_utf8(text)) {
        throw Failure(ExitCode::Usage,
                      fmt::format("the text '{}' is no UTF-8 and cannot stand in a recipe", text));
    }
    if (can_be_plain(text)) {
        return std::string(text);
    }
    std::string quoted;
    for (const char c : text) {
        quoted += escape_letter(c);
    }
    return '"' + quoted + '"';
}

// ---------------------------------------------------------------------------
// Values

std::string format_item(const std::string& text) {
    return format_text(escape_variables(text));
}
std::string format_item(bool flag) {
    return flag ? "true" : "false";
}
std::string format_item(std::int64_t integer) {
    return fmt::format("{}", integer);
}
// The shortest text that gives the same number, and shows that it need not be whole.
std::string format_item(double number) {
    const std::string text = fmt::format("{}", number);
    return text.find_first_not_of("-0123456789") == std::string::npos ? text + ".0" : text;
}
template <typename Item>
std::string format_item(const std::vector<Item>& items) {
    std::vector<std::string> texts;
    texts.reserve(items.size());
    for (const Item& item : items) {
        texts.push_back(format_item(item));
    }
    return "[" + join_texts(texts) + "]";
}

std::string format_recipe_value(const ParameterValue& value) {
    return std::visit([](const auto& v) { return format_item(v); }, value);
}

std::string format_head(std::string_view name, const Unit& unit) {
    return fmt::format("  - name: {}\n    unit: {}\n", format_text(name), format_text(unit.name));
}

std::string format_aims(const StepAims& aims) {
    std::string text;
    if (!aims.edges.empty()) {
        text += fmt::format("    edges: {}\n", format_item(aims.edges));
    }
    if (aims.to_rate) {
        text += fmt::format("    to_rate: {}\n", format_item(*aims.to_rate));
    }
    if (aims.set_by_set) {
        text += fmt::format("    set_by_set: {}\n", format_item(true));
    }
    return text;
}

std::string format_step(const Step& step) {
    std::string text = format_head(step.name, *step.unit);
    const ParameterValues::Given& given = step.values.given();
    if (!given.empty()) {
        text += "    parameters:\n";
    }
    for (const ParameterSignature& signature : step.values.signatures()) {
        if (const auto value = given.find(signature.key); value != given.end()) {
            text +=
                fmt::format("      {}: {}\n", signature.key, format_recipe_value(value->second));
        }
    }
    if (!step.accept.empty()) {
        text += fmt::format("    accept: {}\n", format_item(step.accept));
    }
    return text + format_aims(step.aims);
}

// ---------------------------------------------------------------------------
// Skeletons

std::string format_placeholder(ParameterType type) {
    switch (type) {
    case ParameterType::Boolean:
        return "false";
    case ParameterType::Integer:
        return "0";
    case ParameterType::Number:
        return "0.0";
    case ParameterType::String:
        return "\"\"";
    case ParameterType::StringList:
    case ParameterType::IntegerList:
        break;
    }
    return "[]";
}

std::string format_blank_parameter(const ParameterSignature& signature) {
    if (signature.required) {
        return signature.key + ":";
    }
    if (signature.default_value) {
        return fmt::format("{}: {}", signature.key, format_recipe_value(*signature.default_value));
    }
    return fmt::format("# {}: {}", signature.key, format_placeholder(signature.type));
}

std::string_view describe_need(const ParameterSignature& signature) {
    if (signature.required) {
        return "required";
    }
    return signature.default_value ? "the default" : "optional";
}

} // namespace

std::string format_recipe(const Recipe& recipe) {
    std::string text;
    if (!recipe.description.empty()) {
        text = fmt::format("description: {}\n", format_text(recipe.description));
    }
    text += "steps:\n";
    for (const Step& step : recipe.steps) {
        text += format_step(step);
    }
    return text;
}

std::string format_recipe_skeleton(const Unit& unit,
                                   std::span<const ParameterSignature> signatures) {
    std::vector<std::string> lines;
    std::size_t width = 0;
    for (const ParameterSignature& signature : signatures) {
        lines.push_back(format_blank_parameter(signature));
        width = std::max(width, lines.back().size());
    }
    std::string text = fmt::format("description: {}\nsteps:\n{}    parameters:\n",
                                   format_text(unit.description.value_or("")),
                                   format_head(short_name(unit), unit));
    for (std::size_t i = 0; i < lines.size(); ++i) {
        text += fmt::format("      {:{}}  # {}, {}\n", lines[i], width,
                            type_name(signatures[i].type), describe_need(signatures[i]));
    }
    return text;
}

} // namespace talvora::host
