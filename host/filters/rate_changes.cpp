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

std::optional<RateChange> find_change(const Step& step, DataTree& tree, ObjectId set, float target,
                                      float scaled_rate) {
    const float factor = scaled_rate / target;
    // Beyond 2^63 there is no such factor; the negation takes NaN.
    if (!(factor > 1.0F && factor < 9.2e18F)) {
        return std::nullopt;
    }
    const Extents extents = tree.extents(set);
    const std::uint64_t count = extents[find_axis(step.values, extents)];
    const auto stride = static_cast<std::uint64_t>(factor);
    return RateChange{
        .path = tree.path(set),
        .before = {count, static_cast<double>(find_usable_rate(tree, set).value_or(0.0F))},
        .after = {count / stride, static_cast<double>(scaled_rate / factor)},
        .stride = stride};
}

} // namespace

std::vector<RateChange> find_rate_changes(const Step& step, DataTree& tree) {
    const auto target = find_target(step, tree);
    if (!changes_rates(*step.unit) || !target) {
        return {};
    }
    std::vector<RateChange> changes;
    const std::vector<ObjectId> sets = find_source_sets(step.values, tree);
    for (std::size_t i = 0; i < sets.size(); ++i) {
        const ObjectId scaled_by = sets[step.aims.set_by_set ? i : i / 2];
        const float scaled_rate = find_usable_rate(tree, scaled_by).value_or(0.0F);
        if (auto change = find_change(step, tree, sets[i], *target, scaled_rate)) {
            changes.push_back(std::move(*change));
        }
    }
    return changes;
}

} // namespace talvora::host
