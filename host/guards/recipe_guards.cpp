#include "host/guards/recipe_guards.h"

#include "host/filters/known_units.h"
#include "host/filters/step_aims.h"
#include "host/guards/guards.h"
#include "host/interface/path_patterns.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

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

std::vector<GuardFinding> find_in_step(const Step& step, DataTree& tree,
                                       const std::string& source) {
    Step expanded = step;
    try {
        expanded.values = expand_patterns(step.values, tree, source);
    } catch (const Failure&) {
        return {}; // a pattern for what an earlier step makes
    }
    const auto filters = find_filters_of_step(expanded, tree, source);
    return find_guarded({expanded, tree, filters, source, nullptr}, GuardTime::BeforeSamples);
}

} // namespace

std::vector<GuardFinding> find_guarded(const Recipe& recipe, DataTree& tree,
                                       const std::string& source) {
    std::vector<GuardFinding> all;
    for (const Step& step : recipe.steps) {
        std::ranges::move(find_in_step(step, tree, source), std::back_inserter(all));
        if (changes_rates(*step.unit)) {
            break;
        }
    }
    return all;
}

} // namespace talvora::host
