#include "host/filters/step_aims.h"

#include "host/filters/filter_parameters.h"
#include "host/filters/known_units.h"
#include "host/filters/step_filters.h"
#include "host/filters/step_sources.h"
#include "host/text/failure.h"
#include "host/text/join_texts.h"
#include "host/text/utf8.h"
#include "host/tree/group_walk.h"
#include "host/tree/hinted_tree.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <utility>

namespace talvora::host {
namespace {

// ---------------------------------------------------------------------------
// What is given by mistake

void check_text(std::string_view key, std::string_view text,
                std::vector<ParameterProblem>& problems) {
    if (find_invalid_utf8(text)) {
        problems.push_back({fmt::format("parameter '{}' cannot be '{}' (allowed: UTF-8, as history "
                                        "and recipes keep it)",
                                        key, escape_invalid_utf8(text)),
                            "a name in the file can be chosen by a pattern, ? for each such byte"});
    }
}

void check_texts(const ParameterValues& values, std::vector<ParameterProblem>& problems) {
    for (const auto& [key, value] : values.given()) {
        if (const auto* text = std::get_if<std::string>(&value)) {
            check_text(key, *text, problems);
        } else if (const auto* list = std::get_if<std::vector<std::string>>(&value)) {
            for (const std::string& item : *list) {
                check_text(key, item, problems);
            }
        }
    }
}

void check_edges(const Unit& unit, const ParameterValues& values, const StepAims& aims,
                 std::vector<ParameterProblem>& problems) {
    if (aims.edges.empty()) {
        return;
    }
    if (!makes_filter(unit)) {
        return problems.push_back({"edges are those of a filter, and the unit makes none", ""});
    }
    const auto* order = find_value<std::int64_t>(values, ORDER_KEY);
    const auto* name = find_value<std::string>(values, BANDFORM_KEY);
    if (order == nullptr || name == nullptr) {
        return problems.push_back(
            {"edges are found for the parameters of a Butterworth filter, and the unit has others",
             ""});
    }
    if (const auto bandform = parse_bandform(*name)) { // else that is told
        if (std::string problem = find_edge_problem(*bandform, *order, aims.edges);
            !problem.empty()) {
            problems.push_back({std::move(problem), ""});
        }
    }
}

void check_rate(const Unit& unit, const StepAims& aims, std::vector<ParameterProblem>& problems) {
    if (!aims.to_rate) {
        return;
    }
    if (!changes_rates(unit)) {
        return problems.push_back({"a rate to come down to: the unit changes no rates", ""});
    }
    const auto rate = static_cast<float>(*aims.to_rate);
    if (!(rate > 0.0F && std::isfinite(rate))) {
        problems.push_back(
            {fmt::format("a rate of {} Hz cannot be had (allowed: above 0, finite)", *aims.to_rate),
             ""});
    }
}

void check_exclusions(const ParameterValues& values, const StepAims& aims,
                      std::vector<ParameterProblem>& problems) {
    for (const std::string& key : list_found_keys(aims)) {
        if (values.given().contains(key)) {
            problems.push_back({fmt::format("parameter '{}' excludes {}", key,
                                            aims.edges.empty() ? "a rate to come down to"
                                                               : "edges that it is found for"),
                                "give one of the two", key});
        }
    }
}

// ---------------------------------------------------------------------------
// What is found for a file

struct RatedSet {
    std::string path;
    float rate = 0.0F;
};

std::vector<RatedSet> list_rated_sets(const Step& step, DataTree& tree) {
    std::vector<RatedSet> sets;
    for (const ObjectId set : find_source_sets(step.values, tree)) {
        if (const auto rate = find_usable_rate(tree, set)) {
            sets.push_back({tree.path(set), *rate});
        }
    }
    return sets;
}

std::string list_rates(const std::vector<RatedSet>& sets) {
    std::vector<std::string> texts;
    texts.reserve(sets.size());
    for (const auto& [path, rate] : sets) {
        texts.push_back(fmt::format("{} ({} Hz)", path, rate));
    }
    return list_some(texts);
}

Failure explain(const std::string& text, const std::vector<std::string>& hints = {}) {
    return {ExitCode::UnitFailed, text, hints};
}

// One set of each rate, where there are several.
void refuse_several_rates(const Step& step, const std::vector<RatedSet>& sets) {
    std::vector<RatedSet> different;
    for (const RatedSet& set : sets) {
        if (std::ranges::find(different, set.rate, &RatedSet::rate) == different.end()) {
            different.push_back(set);
        }
    }
    if (different.size() > 1) {
        throw explain(fmt::format("a filter for {} is another one at each rate, and the sets have "
                                  "{}: {}",
                                  name_edges(step.aims.edges), different.size(),
                                  list_rates(different)),
                      {fmt::format("--set-by-set, or set_by_set: true at a step, gives each its "
                                   "own; {}= names some",
                                   SOURCE_SETS_KEY)});
    }
}

ButterworthParameters choose_for_rate(const Step& step, float rate) {
    const auto* order = find_value<std::int64_t>(step.values, ORDER_KEY);
    const auto* name = find_value<std::string>(step.values, BANDFORM_KEY);
    try {
        return choose_filter(find_bandform(*name), *order, step.aims.edges, rate).design.parameters;
    } catch (const Failure& failure) {
        throw explain(fmt::format("at {} Hz: {}", rate, failure.what()), failure.hints());
    }
}

// Without a set that has a rate the unit finds something wrong before it makes a filter.
ParameterValues::Given find_for_edges(const Step& step, DataTree& tree) {
    const std::vector<RatedSet> sets = list_rated_sets(step, tree);
    const std::vector<double>& edges = step.aims.edges;
    if (sets.empty()) {
        return {{std::string(CUTOFF_KEY), edges.front()},
                {std::string(BANDWIDTH_KEY), edges.back() - edges.front()}};
    }
    refuse_several_rates(step, sets);
    const ButterworthParameters parameters = choose_for_rate(step, sets.front().rate);
    return {{std::string(CUTOFF_KEY), parameters.cutoff},
            {std::string(BANDWIDTH_KEY), parameters.bandwidth}};
}

// ---------------------------------------------------------------------------
// Rates to come down to

// The rate whose quotient is this whole number, as the unit divides.
float divide_rate(float rate, float divisor) {
    const float quotient = rate / divisor;
    for (const float near :
         {quotient, std::nextafter(quotient, 0.0F), std::nextafter(quotient, rate)}) {
        if (rate / near == divisor) {
            return near;
        }
    }
    return quotient;
}

std::string describe_near_rates(const RatedSet& set, float factor) {
    const std::string place = fmt::format("{} ({} Hz)", set.path, set.rate);
    if (factor < 1.0F) {
        return fmt::format("{}: that is its highest", place);
    }
    const float divisor = std::floor(factor);
    return fmt::format("{}: the nearest are {} and {} Hz", place,
                       divide_rate(set.rate, divisor + 1.0F), divide_rate(set.rate, divisor));
}

// Of the two on either side of a lower target.
float find_nearest_rate(float rate, float target) {
    const float divisor = std::floor(rate / target);
    const float above = divide_rate(rate, divisor);
    const float below = divide_rate(rate, divisor + 1.0F);
    return above - target < target - below ? above : below;
}

// By a hint between two rates that can be had a set gets the samples of one and the name of the
// other. A rate that is asked for by itself is one that can be had.
void refuse_unreachable_rate(const Step& step, DataTree& tree) {
    const auto target = static_cast<float>(*step.aims.to_rate);
    std::vector<std::string> unreachable;
    std::string hint;
    for (const RatedSet& set : list_rated_sets(step, tree)) {
        const float factor = set.rate / target;
        if (factor < 1.0F || factor != std::floor(factor)) {
            unreachable.push_back(describe_near_rates(set, factor));
            if (hint.empty() && factor > 1.0F) {
                hint = fmt::format("--to-rate {0}, in a recipe to_rate: {0}",
                                   find_nearest_rate(set.rate, target));
            }
        }
    }
    if (!unreachable.empty()) {
        throw explain(fmt::format("{} Hz is no rate that every k-th sample has, with a whole k: {}",
                                  target, list_some(unreachable)),
                      hint.empty() ? std::vector<std::string>() : std::vector{hint});
    }
}

// ---------------------------------------------------------------------------
// Calls

// The unit tells every group below its source of the new rate, and goes down from each.
void refuse_endless_scan(const Step& step, DataTree& tree) {
    const auto groups = find_source_groups(step.values, tree);
    const auto* recursive = find_value<bool>(step.values, SCAN_RECURSIVE_KEY);
    if (!changes_rates(*step.unit) || groups.empty() || recursive == nullptr || !*recursive) {
        return;
    }
    const ObjectId source = groups.front();
    if (const auto loop = find_loop(tree, source, tree.path(source))) {
        throw explain(
            fmt::format("'{}' leads back to a group above it: with {}=true the unit would "
                        "go round for ever",
                        *loop, SCAN_RECURSIVE_KEY),
            {fmt::format("name the sets: {}=PATH, or {}='{}'", SOURCE_SETS_KEY, SOURCE_SETS_KEY,
                         join_path(tree.path(source), "**"))});
    }
}

StepCall plan_call(const Step& step, const std::string& set, DataTree& tree) {
    StepCall call{step, {set, {}}};
    if (!step.aims.edges.empty()) {
        call.found.values = find_for_edges(step, tree);
    }
    for (const auto& [key, value] : call.found.values) {
        call.step.values.set(key, value);
    }
    if (step.aims.to_rate) {
        refuse_unreachable_rate(step, tree);
        call.step.values.set(HINT_GROUP_KEY, std::string(RATE_HINT_NAME));
    }
    return call;
}

Step choose_one_set(const Step& step, const std::string& path) {
    Step chosen = step;
    ParameterValues::Given given = step.values.given();
    given.erase(std::string(SOURCE_GROUP_KEY));
    given.erase(std::string(SCAN_RECURSIVE_KEY));
    given.insert_or_assign(std::string(SOURCE_SETS_KEY), std::vector{path});
    chosen.values = ParameterValues(step.values.signatures(), std::move(given));
    return chosen;
}

} // namespace

std::vector<std::string> list_found_keys(const StepAims& aims) {
    std::vector<std::string> keys;
    const auto add = [&](std::initializer_list<std::string_view> found) {
        for (const std::string_view key : found) {
            keys.emplace_back(key);
        }
    };
    if (!aims.edges.empty()) {
        add({CUTOFF_KEY, BANDWIDTH_KEY});
    }
    if (aims.to_rate) {
        add({HINT_GROUP_KEY, HINT_SET_KEY});
    }
    return keys;
}

std::vector<ParameterProblem> check_step(const Unit& unit, const ParameterValues& values,
                                         const StepAims& aims) {
    std::vector<ParameterProblem> problems = check_values(unit, values, list_found_keys(aims));
    check_texts(values, problems);
    check_exclusions(values, aims, problems);
    check_edges(unit, values, aims, problems);
    check_rate(unit, aims, problems);
    if (aims.set_by_set && !declares(values.signatures(), SOURCE_SETS_KEY)) {
        problems.push_back(
            {fmt::format("set by set: the unit takes no single sets by {}", SOURCE_SETS_KEY), ""});
    }
    return problems;
}

std::vector<StepCall> plan_calls(const Step& step, DataTree& tree) {
    std::vector<StepCall> calls;
    if (step.aims.set_by_set) {
        for (const ObjectId set : find_source_sets(step.values, tree)) {
            const std::string path = tree.path(set);
            calls.push_back(plan_call(choose_one_set(step, path), path, tree));
        }
    }
    if (calls.empty()) {
        refuse_endless_scan(step, tree);
        calls.push_back(plan_call(step, "", tree));
    }
    return calls;
}

std::vector<FilterFacts> find_filters(std::span<const StepCall> calls, DataTree& tree) {
    std::vector<FilterFacts> all;
    for (const StepCall& call : calls) {
        for (FilterFacts& facts : find_step_filters(call.step, tree)) {
            const auto known =
                std::ranges::find(all, facts.design.sample_rate,
                                  [](const auto& one) { return one.design.sample_rate; });
            if (known == all.end()) {
                all.push_back(std::move(facts));
            } else {
                std::ranges::move(facts.sets, std::back_inserter(known->sets));
            }
        }
    }
    std::ranges::sort(all, {}, [](const FilterFacts& facts) { return facts.design.sample_rate; });
    return all;
}

} // namespace talvora::host
