#include "host/guards/mean_columns.h"

#include "host/filters/filter_parameters.h"
#include "host/filters/known_units.h"
#include "host/filters/step_sources.h"

#include <algorithm>
#include <cstddef>
#include <map>

namespace talvora::host {
namespace {

using Texts = std::vector<std::string>;

// Of pairs with the same label, or with the same source, the first counts.
struct Translation {
    std::map<std::string, std::string> sources; // by label
    std::map<std::string, std::string> labels;  // by source
};

Translation read_translation(const ParameterValues& values) {
    Translation translation;
    const auto* pairs = find_value<Texts>(values, TRANSLATION_KEY);
    for (std::size_t i = 0; pairs != nullptr && i + 1 < pairs->size(); i += 2) {
        translation.sources.try_emplace((*pairs)[i], (*pairs)[i + 1]);
        translation.labels.try_emplace((*pairs)[i + 1], (*pairs)[i]);
    }
    return translation;
}

const std::string& translate(const std::map<std::string, std::string>& texts,
                             const std::string& name) {
    const auto found = texts.find(name);
    return found == texts.end() ? name : found->second;
}

// What the step made was there for none of its sources.
bool is_made(const GuardedStep& step, ObjectId set) {
    if (step.done == nullptr) {
        return false;
    }
    const auto& sets = step.done->sets;
    const auto found = std::ranges::find(sets, step.tree.path(set), &SetObservation::path);
    return found != sets.end() && !found->before;
}

} // namespace

// A name that is a label opens the label's source, and is itself the source that a label is looked
// up for.
std::vector<MeanColumn> list_mean_columns(const GuardedStep& step) {
    const ParameterValues& values = step.step.values;
    const auto groups = find_source_groups(values, step.tree);
    if (!takes_means(*step.step.unit) || !declares(values.signatures(), DESTINATION_SET_KEY) ||
        groups.empty()) {
        return {};
    }
    const auto* metric = find_value<std::string>(values, METRIC_FILTER_KEY);
    const auto* chosen = find_value<Texts>(values, NAMES_FILTER_KEY);
    const bool takes_all = chosen == nullptr || chosen->empty();
    const Translation translation = read_translation(values);
    std::vector<MeanColumn> columns;
    for (const auto& name : takes_all ? step.tree.list_datasets(groups.front()) : *chosen) {
        const auto source = look_up(step.tree, groups.front(), translate(translation.sources, name),
                                    ObjectKind::DataSet);
        if (source && !is_made(step, *source) &&
            (metric == nullptr || has_metric(step.tree, *source, *metric))) {
            columns.push_back({*source, translate(translation.labels, name)});
        }
    }
    return columns;
}

} // namespace talvora::host
