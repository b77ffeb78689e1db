#include "host/filters/rate_changes.h"

#include "host/filters/filter_parameters.h"
#include "host/filters/known_units.h"
#include "host/filters/step_sources.h"

#include <optional>
#include <string>

namespace talvora::host {
namespace {

// Nothing where the unit takes no rate from it.
std::optional<float> find_target(const Step& step, DataTree& tree) {
    if (step.aims.to_rate) {
        return static_cast<float>(*step.aims.to_rate);
    }
    const ParameterValues& values = step.values;
    const auto* group = find_value<std::string>(values, HINT_GROUP_KEY);
    const auto* set = find_value<std::string>(values, HINT_SET_KEY);
    const std::string* hint = group != nullptr ? group : set;
    if (hint == nullptr) {
        return std::nullopt;
    }
    const ObjectKind kind = group != nullptr ? ObjectKind::Group : ObjectKind::DataSet;
    const auto object = look_up(tree, tree.root(), *hint, kind);
    return object ? find_usable_rate(tree, *object) : std::nullopt;
}

struct ScaledSet {
    ObjectId id{};
    float rate = 0.0F;         // its own; 0 where it has none
    float scaling_rate = 0.0F; // by which the unit scales it
};

// None for other units, and without a target.
std::vector<ScaledSet> list_scaled_sets(const Step& step, DataTree& tree,
                                        const std::optional<float>& target) {
    std::vector<ScaledSet> scaled;
    if (!changes_rates(*step.unit) || !target) {
        return scaled;
    }
    for (const ObjectId set : find_source_sets(step.values, tree)) {
        scaled.push_back({.id = set, .rate = find_usable_rate(tree, set).value_or(0.0F)});
    }
    for (std::size_t i = 0; i < scaled.size(); ++i) {
        scaled[i].scaling_rate = scaled[step.aims.set_by_set ? i : i / 2].rate;
    }
    return scaled;
}

// By what the unit divides; nothing for a set that it leaves. Beyond 2^63 there is no such factor;
// the negation takes NaN.
std::optional<float> find_factor(float rate, float target) {
    const float factor = rate / target;
    return !(factor > 1.0F && factor < 9.2e18F) ? std::nullopt : std::optional(factor);
}

RateChange make_change(const Step& step, DataTree& tree, const ScaledSet& set, float factor) {
    const Extents extents = tree.extents(set.id);
    const std::uint64_t count = extents[find_axis(step.values, extents)];
    const auto stride = static_cast<std::uint64_t>(factor);
    return {.path = tree.path(set.id),
            .before = {count, static_cast<double>(set.rate)},
            .after = {count / stride, static_cast<double>(set.scaling_rate / factor)},
            .stride = stride};
}

} // namespace

std::vector<RateChange> find_rate_changes(const Step& step, DataTree& tree) {
    const auto target = find_target(step, tree);
    std::vector<RateChange> changes;
    for (const ScaledSet& set : list_scaled_sets(step, tree, target)) {
        if (const auto factor = find_factor(set.scaling_rate, *target)) {
            changes.push_back(make_change(step, tree, set, *factor));
        }
    }
    return changes;
}

std::vector<KeptRate> find_kept_rates(const Step& step, DataTree& tree) {
    const auto target = find_target(step, tree);
    std::vector<KeptRate> kept;
    for (const ScaledSet& set : list_scaled_sets(step, tree, target)) {
        if (find_factor(set.rate, *target) && !find_factor(set.scaling_rate, *target)) {
            kept.push_back({.path = tree.path(set.id),
                            .rate = static_cast<double>(set.rate),
                            .target = static_cast<double>(*target)});
        }
    }
    return kept;
}

} // namespace talvora::host
