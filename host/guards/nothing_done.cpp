#include "host/filters/filter_parameters.h"
#include "host/filters/known_units.h"
#include "host/filters/step_sources.h"
#include "host/guards/filtered_runs.h"
#include "host/guards/guard_functions.h"
#include "host/interface/path_patterns.h"
#include "host/text/plural.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvora::host {
namespace {

bool holds_samples(const Extents& extents) {
    return count_samples(extents) > 0;
}

bool is_set_with_samples(DataTree& tree, const std::string& path) {
    const auto object = tree.find(tree.root(), path);
    return object && tree.kind(*object) == ObjectKind::DataSet &&
           holds_samples(tree.extents(*object));
}

// Writing what no sample is in, and what hangs on no samples, is no work on a signal.
bool has_written(const GuardedStep& step) {
    return std::ranges::any_of(step.done->sets,
                               [](const SetObservation& set) {
                                   return set.written &&
                                          (holds_samples(set.after.extents) ||
                                           (set.before && holds_samples(set.before->extents)));
                               }) ||
           std::ranges::any_of(step.done->attributes, [&](const auto& written) {
               return is_set_with_samples(step.tree, written.first);
           });
}

// ---------------------------------------------------------------------------
// The filter unit writes every set, those too that it could filter nothing of.

struct FilterWork {
    bool any = false;
    std::uint64_t shortest = 0; // run that is filtered
    std::uint64_t longest = 0;  // run that there was
};

// Sets of other rates are made missing, which is work of its kind.
bool has_filter(const GuardedStep& step, const SetObservation& set) {
    return set.before && set.before->sample_rate &&
           std::ranges::any_of(step.filters, [&](const FilterFacts& facts) {
               return facts.design.sample_rate ==
                      static_cast<double>(static_cast<float>(*set.before->sample_rate));
           });
}

FilterWork find_filter_work(const GuardedStep& step) {
    FilterWork work{.shortest = find_shortest_run(step.filters.front().design)};
    for (std::size_t i = 0; i < step.done->sets.size(); ++i) {
        const SetObservation& set = step.done->sets[i];
        if (!has_filter(step, set)) {
            work.any = true;
            continue;
        }
        const Extents& extents = set.before->extents;
        const FilteredRuns runs =
            count_filtered_runs(*step.done->gaps[i].before, count_samples(extents),
                                extents[find_axis(step.step.values, extents)], work.shortest);
        work.any = work.any || runs.filtered_count > 0;
        work.longest = std::max(work.longest, runs.longest);
    }
    return work;
}

constexpr std::string_view NOTHING = "no sample changed, and nothing was made";

std::vector<GuardFinding> find_unfiltered(const GuardedStep& step) {
    const FilterWork work = find_filter_work(step);
    if (work.any) {
        return {};
    }
    return {{.text = fmt::format("{}: {}", NOTHING,
                                 describe_unfiltered({.longest = work.longest}, work.shortest)),
             .remedy = fmt::format("fill gaps first, or take a lower {}", ORDER_KEY),
             .numbers = {{"longest_run", work.longest}, {"shortest_filtered", work.shortest}}}};
}

} // namespace

std::vector<GuardFinding> find_nothing_done(const GuardedStep& step) {
    if (has_written(step)) {
        return step.filters.empty() ? std::vector<GuardFinding>() : find_unfiltered(step);
    }
    const auto read_count = static_cast<std::uint64_t>(
        std::ranges::count(step.done->sets, true, &SetObservation::read));
    return {{.text = fmt::format("{}: {} read, none written", NOTHING,
                                 count_things(read_count, "data set")),
             .remedy = hint_tree(step.source),
             .numbers = {{"sets_read", read_count}, {"sets_written", 0}}}};
}

} // namespace talvora::host
