#include "host/guards/recipe_guards.h"

#include "host/filters/known_units.h"
#include "host/filters/step_aims.h"
#include "host/filters/step_hints.h"
#include "host/guards/guards.h"
#include "host/interface/path_patterns.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

namespace talvora::host {
namespace {

std::vector<FilterFacts> find_filters_of_step(const Step& step, DataTree& tree,
                                              const std::string& source) {
    try {
        return find_filters(plan_calls(step, tree), tree);
    } catch (const Failure& failure) {
        throw Failure(failure.code(), fmt::format("{}: {}: {}", source, step.name, failure.what()),
                      failure.hints());
    }
}

struct ForeseenStep {
    Step step;                    // with names in the place of patterns
    const ParameterValues* given; // the recipe's
};

std::vector<GuardFinding> find_in_step(const ForeseenStep& foreseen, DataTree& tree,
                                       const std::string& source) {
    const Step& step = foreseen.step;
    const auto filters = find_filters_of_step(step, tree, source);
    return find_guarded({step, tree, filters, source, nullptr, {}, foreseen.given},
                        GuardTime::BeforeSamples);
}

// With names in the place of patterns; nothing where one stands for what an earlier step makes.
std::optional<Step> expand(const Step& step, DataTree& tree, const std::string& source) {
    Step expanded = step;
    try {
        expanded.values = expand_patterns(step.values, tree, source);
    } catch (const Failure&) {
        return std::nullopt;
    }
    return expanded;
}

// Those of which the tree tells what they work on.
std::vector<ForeseenStep> list_foreseen(const Recipe& recipe, DataTree& tree,
                                        const std::string& source) {
    std::vector<ForeseenStep> steps;
    for (const Step& step : recipe.steps) {
        if (auto expanded = expand(step, tree, source)) {
            steps.push_back({std::move(*expanded), &step.values});
        }
        if (changes_rates(*step.unit)) {
            break;
        }
    }
    return steps;
}

} // namespace

std::vector<GuardFinding> find_guarded(const Recipe& recipe, DataTree& tree,
                                       const std::string& source) {
    std::vector<GuardFinding> all;
    for (const ForeseenStep& foreseen : list_foreseen(recipe, tree, source)) {
        std::ranges::move(find_in_step(foreseen, tree, source), std::back_inserter(all));
    }
    return all;
}

std::vector<ParameterProblem> find_lacking_rates(const Recipe& recipe, DataTree& tree,
                                                 const std::string& source) {
    std::vector<ParameterProblem> all;
    for (const ForeseenStep& foreseen : list_foreseen(recipe, tree, source)) {
        const Step& step = foreseen.step;
        const auto lacking = needs_rates(*step.unit, step.values)
                                 ? find_lacking_rates(step, tree, source)
                                 : std::vector<std::string>();
        if (!lacking.empty()) {
            all.push_back(
                {fmt::format("step '{}': {}", step.name, lacking.front()), lacking.back()});
        }
    }
    return all;
}

} // namespace talvora::host
