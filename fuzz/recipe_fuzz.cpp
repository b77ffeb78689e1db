// Reads the input as a recipe; one that can be read is written, and reads as the same.
#include "fuzz/finding.h"
#include "fuzz/lines.h"
#include "fuzz/same_bits.h"
#include "host/recipes/recipe_reader.h"
#include "host/recipes/recipe_writer.h"

#include <cmath>
#include <optional>

namespace {

using namespace talvora::fuzz;
using namespace talvora::host;

constexpr char FILE_NAME[] = "r.yaml";

const PluginLibrary& library() {
    static const PluginLibrary loaded(SIGNAL_PLUGIN);
    return loaded;
}

void check_problems(const RecipeError& error) {
    const auto& problems = error.problems();
    // One more says how many there are beyond.
    if (problems.empty() || problems.size() > MAX_RECIPE_PROBLEMS + 1) {
        report_finding("a recipe is refused for no reason, or for too many");
    }
    for (const ParameterProblem& problem : problems) {
        if (problem.text.empty()) {
            report_finding("a problem has no text");
        }
    }
}

std::optional<Recipe> read(std::string_view text, std::span<const std::string> settings) {
    try {
        return parse_recipe(text, FILE_NAME, settings, library());
    } catch (const RecipeError& error) {
        check_problems(error);
        return std::nullopt;
    }
}

bool is_nan(const ParameterValue& value) {
    const auto* number = std::get_if<double>(&value);
    return number != nullptr && std::isnan(*number);
}

bool same_given(const ParameterValues& left, const ParameterValues& right) {
    return std::ranges::equal(left.given(), right.given(), [](const auto& one, const auto& other) {
        return one.first == other.first && (same_bits(one.second, other.second) ||
                                            (is_nan(one.second) && is_nan(other.second)));
    });
}

bool same_step(const Step& left, const Step& right) {
    return left.name == right.name && left.unit == right.unit &&
           same_given(left.values, right.values);
}

void check_way_back(const Recipe& recipe) {
    const std::string text = format_recipe(recipe);
    const auto again = read(text, {});
    if (!again || again->description != recipe.description ||
        !std::ranges::equal(again->steps, recipe.steps, same_step)) {
        report_finding("a recipe does not read back:\n" + text);
    }
    if (format_recipe(*again) != text) {
        report_finding("a recipe is written in two ways:\n" + text);
    }
}

// A first line "#!a=1 b=2" gives the settings.
std::vector<std::string> take_settings(std::string_view text) {
    std::vector<std::string> settings;
    std::string_view line = text.substr(0, text.find('\n'));
    if (!line.starts_with("#!")) {
        return settings;
    }
    line.remove_prefix(2);
    while (!line.empty()) {
        settings.emplace_back(line.substr(0, line.find(' ')));
        line.remove_prefix(std::min(line.size(), settings.back().size() + 1));
    }
    return settings;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = as_text(data, size);
    if (const auto recipe = read(text, take_settings(text))) {
        if (recipe->steps.empty()) {
            report_finding("a recipe without steps");
        }
        check_way_back(*recipe);
    }
    return 0;
}
