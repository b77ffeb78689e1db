#include "host/filters/step_filters.h"

#include "host/filters/filter_parameters.h"
#include "host/filters/known_units.h"
#include "host/filters/step_sources.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

// What the unit itself would refuse, so that nothing is told of a filter that never runs. It
// is not asked (filter_trial.h): a run calls it for the steps alone, and a trial would send
// its messages once more.
bool is_refused(const ButterworthParameters& parameters) {
    return 0.0 >= parameters.cutoff || parameters.order <= 0 ||
           (count_edges(parameters.bandform) == 2) != (parameters.bandwidth != 0.0) ||
           0.0 > parameters.bandwidth;
}

std::optional<ButterworthParameters> find_filter(const Step& step) {
    if (!makes_filter(*step.unit)) {
        return std::nullopt;
    }
    const auto parameters = read_filter(step.values);
    return parameters && !is_refused(*parameters) ? parameters : std::nullopt;
}

// Their paths by their rates.
std::map<float, std::vector<std::string>> sort_by_rate(const std::vector<ObjectId>& sets,
                                                       DataTree& tree) {
    std::map<float, std::vector<std::string>> sorted;
    for (const ObjectId set : sets) {
        if (const auto rate = find_usable_rate(tree, set)) {
            sorted[*rate].push_back(tree.path(set));
        }
    }
    return sorted;
}

} // namespace

std::vector<FilterFacts> find_step_filters(const Step& step, DataTree& tree) {
    std::vector<FilterFacts> filters;
    if (const auto parameters = find_filter(step)) {
        for (const auto& [rate, sets] : sort_by_rate(find_source_sets(step.values, tree), tree)) {
            filters.push_back(find_facts(*parameters, rate));
            filters.back().sets = sets;
        }
    }
    return filters;
}

} // namespace talvora::host
