#include "host/recipes/recipe_problems.h"

#include "host/text/ascii.h"
#include "host/text/utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvora::host {
namespace {

// Long enough for every sentence about a recipe that a person wrote.
constexpr std::size_t MAX_SHOWN = 500;

// A recipe may hold a text of any length, and letters that mean something to a terminal.
std::string make_showable(std::string_view text) {
    std::string shown;
    for (const char c : text) {
        if (shown.size() >= MAX_SHOWN && begins_code_point(c)) {
            return shown + "...";
        }
        shown += is_control(c) ? '?' : c;
    }
    return shown;
}

} // namespace

RecipeError::RecipeError(std::vector<ParameterProblem> problems)
    : std::runtime_error(problems.at(0).text), problems_(std::move(problems)) {}

void RecipeProblems::add(YamlPlace place, std::string_view text, std::string_view hint) {
    of_file_.push_back({place, make_showable(text), make_showable(hint)});
}

bool RecipeProblems::expect_kind(const YamlNode& node, YamlNode::Kind kind,
                                 std::string_view otherwise) {
    if (node.kind != kind && node.kind != YamlNode::Kind::Broken) {
        add(node.place, fmt::format("{} (this is {})", otherwise, describe_node(node)));
    }
    return node.kind == kind;
}

void RecipeProblems::add_to_setting(std::string_view setting, std::string_view text,
                                    std::string_view hint) {
    of_settings_.push_back(
        {make_showable(fmt::format("{} {}: {}", names_.setting_option, setting, text)),
         make_showable(hint)});
}

void RecipeProblems::throw_if_any() const {
    std::vector<YamlProblem> sorted = of_file_;
    std::ranges::stable_sort(sorted, {}, &YamlProblem::place);
    std::vector<ParameterProblem> all = of_settings_;
    for (const auto& [place, text, hint] : sorted) {
        all.push_back({fmt::format("{}:{}:{}: {}", file_, place.line, place.column, text), hint});
    }
    if (all.size() > MAX_RECIPE_PROBLEMS) {
        const std::size_t further_count = all.size() - MAX_RECIPE_PROBLEMS;
        all.resize(MAX_RECIPE_PROBLEMS);
        all.push_back({fmt::format("{}: {} further problems", file_, further_count), ""});
    }
    if (!all.empty()) {
        throw RecipeError(std::move(all));
    }
}

} // namespace talvora::host
