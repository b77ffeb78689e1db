#include "host/filters/step_filters.h"

#include "host/filters/filter_parameters.h"
#include "host/filters/known_units.h"
#include "host/filters/step_sources.h"
#include "host/interface/table_objects.h"
#include "host/tree/number_attribute.h"

#include <cmath>
#include <optional>
#include <set>
#include <span>

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

// The rates of sets, those that make a filter.
std::set<float> find_rates(std::span<const ObjectId> sets, DataTree& tree) {
    std::set<float> rates;
    for (const ObjectId set : sets) {
        try {
            const float rate = read_float(tree, set, SAMPLE_RATE_ATTRIBUTE);
            if (std::isfinite(rate) && rate > 0.0F) {
                rates.insert(rate);
            }
        } catch (const TreeError&) {
            // no number: the unit's request will be refused
        }
    }
    return rates;
}

} // namespace

std::vector<FilterFacts> find_step_filters(const Step& step, DataTree& tree) {
    std::vector<FilterFacts> filters;
    if (const auto parameters = find_filter(step)) {
        for (const float rate : find_rates(find_source_sets(step.values, tree), tree)) {
            filters.push_back(find_facts(*parameters, rate));
        }
    }
    return filters;
}

} // namespace talvora::host
