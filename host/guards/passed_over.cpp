#include "host/filters/filter_parameters.h"
#include "host/filters/known_units.h"
#include "host/filters/rate_changes.h"
#include "host/filters/step_sources.h"
#include "host/guards/guard_functions.h"
#include "host/interface/path_patterns.h"
#include "host/text/join_texts.h"
#include "host/tree/named_objects.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <string>

namespace talvora::host {
namespace {

using Names = std::vector<std::string>;

bool names_sets(const ParameterValues& values) {
    return declares(values.signatures(), SOURCE_SETS_KEY);
}

// ---------------------------------------------------------------------------
// Sets that no unit is offered

// Texts, references and the like are no signals that anybody would miss.
// What a link leads to in another file is not looked at, and may be a set.
bool may_be_set_of_numbers(const OtherObject& object) {
    return object.kind == OtherKind::NumberSet || object.kind == OtherKind::LinkToFile;
}

// What the step asks of the sets of its group, beyond being there.
class Choice {
  public:
    Choice(const ParameterValues& values, DataTree& tree) : tree_(tree) {
        const auto* names = find_value<Names>(values, NAMES_FILTER_KEY);
        takes_names_ = names != nullptr && !names->empty();
        const auto* metric = find_value<std::string>(values, METRIC_FILTER_KEY);
        metric_ = metric == nullptr ? "" : *metric;
    }

    bool takes(ObjectId group, const OtherObject& other) const {
        return !takes_names_ && may_be_set_of_numbers(other) &&
               (metric_.empty() || has_metric_of(group, other));
    }

  private:
    bool has_metric_of(ObjectId group, const OtherObject& other) const {
        const auto set = tree_.find(group, other.name);
        return set && has_metric(tree_, *set, metric_);
    }

    DataTree& tree_;
    bool takes_names_ = false; // and nothing else
    std::string metric_;       // of the sets that are taken; empty: any
};

// The words that choose what can be taken; of many sets how they are chosen.
std::string name_others(const GuardedStep& step) {
    constexpr std::size_t MAX_NAMED = 3;
    const bool by_path = names_sets(step.step.values);
    const std::string_view key = by_path ? SOURCE_SETS_KEY : NAMES_FILTER_KEY;
    const auto sets = find_source_sets(step.step.values, step.tree);
    if (sets.empty() || sets.size() > MAX_NAMED) {
        return fmt::format("name those that are meant by {}=", key);
    }
    Names words;
    for (const ObjectId set : sets) {
        const std::string path = step.tree.path(set);
        words.push_back(fmt::format("{}={}", key, by_path ? path : split_last(path).second));
    }
    return fmt::format("if the others are meant: {}", join_texts(words, " "));
}

std::vector<GuardFinding> list_untakable_in_groups(const GuardedStep& step) {
    const Choice choice(step.step.values, step.tree);
    std::vector<GuardFinding> found;
    for (const ObjectId group : find_source_groups(step.step.values, step.tree)) {
        for (const OtherObject& other : step.tree.list_others(group)) {
            if (choice.takes(group, other)) {
                found.push_back({.set = join_path(step.tree.path(group), other.name),
                                 .text = fmt::format("is in the source group, and units cannot "
                                                     "take it: {}",
                                                     other.description),
                                 .remedy = name_others(step)});
            }
        }
    }
    return found;
}

std::vector<GuardFinding> list_untakable_matches(const GuardedStep& step) {
    const auto* patterns =
        step.given == nullptr ? nullptr : find_value<Names>(*step.given, SOURCE_SETS_KEY);
    std::vector<GuardFinding> found;
    std::set<std::string> known;
    for (const std::string& pattern : patterns == nullptr ? Names() : *patterns) {
        for (const NamedOther& other : find_other_matches(step.tree, pattern)) {
            if (may_be_set_of_numbers(other.object) && known.insert(other.path).second) {
                found.push_back(
                    {.set = other.path,
                     .text = fmt::format("matches {}={}, and units cannot take it: {}",
                                         SOURCE_SETS_KEY, pattern, other.object.description),
                     .remedy = name_others(step)});
            }
        }
    }
    return found;
}

// ---------------------------------------------------------------------------
// Sets above the rate that others come down to

std::vector<GuardFinding> list_kept_rates(const GuardedStep& step) {
    std::vector<GuardFinding> found;
    for (const KeptRate& kept : find_kept_rates(step.step, step.tree)) {
        found.push_back({.set = kept.path,
                         .text = fmt::format("is at {:.6g} Hz, and the unit leaves it there, above "
                                             "the {:.6g} Hz that sets are to come down to",
                                             kept.rate, kept.target),
                         .remedy = SET_BY_SET_REMEDY,
                         .numbers = {{"rate", kept.rate}, {"rate_wanted", kept.target}}});
    }
    return found;
}

// ---------------------------------------------------------------------------
// Sets that the unit left

bool is_touched(const StepObservations& done, const std::string& path) {
    return done.attributes.contains(path) ||
           std::ranges::binary_search(done.sets, path, {}, &SetObservation::path);
}

std::vector<GuardFinding> list_left(const GuardedStep& step) {
    std::vector<GuardFinding> found;
    const auto sets = find_source_sets(step.step.values, step.tree);
    for (const ObjectId set : sets) {
        const std::string path = step.tree.path(set);
        const Extents extents = step.tree.extents(set);
        if (count_samples(extents) > 0 && !is_touched(*step.done, path)) {
            found.push_back(
                {.set = path,
                 .text = fmt::format("was chosen, and the unit neither read nor wrote "
                                     "any of its {} samples",
                                     count_samples(extents)),
                 .remedy = hint_tree(step.source) + " --attributes",
                 .numbers = {{"samples", count_samples(extents)}, {"sets_chosen", sets.size()}}});
        }
    }
    return found.size() < sets.size() ? found : std::vector<GuardFinding>();
}

} // namespace

std::vector<GuardFinding> foresee_left_sets(const GuardedStep& step) {
    std::vector<GuardFinding> found = list_untakable_matches(step);
    std::ranges::move(list_untakable_in_groups(step), std::back_inserter(found));
    std::ranges::move(list_kept_rates(step), std::back_inserter(found));
    return found;
}

std::vector<GuardFinding> find_left_sets(const GuardedStep& step) {
    // Units that bring rates down leave sets that are down already.
    const bool leaves_by_right = !names_sets(step.step.values) || changes_rates(*step.step.unit);
    return leaves_by_right ? std::vector<GuardFinding>() : list_left(step);
}

} // namespace talvora::host
