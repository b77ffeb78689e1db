#include "host/filters/step_filters.h"

#include "host/filters/filter_parameters.h"
#include "host/filters/known_units.h"
#include "host/interface/table_objects.h"
#include "host/tree/group_walk.h"
#include "host/tree/number_attribute.h"

#include <cmath>
#include <optional>
#include <set>
#include <string>

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

// The rates of the sets that a step's parameters choose.
class RateFinder {
  public:
    explicit RateFinder(DataTree& tree) : tree_(tree) {}

    std::set<float> find(const ParameterValues& values) {
        if (const auto* sets = find_value<std::vector<std::string>>(values, SOURCE_SETS_KEY)) {
            for (const std::string& path : *sets) {
                note_set(tree_.root(), path);
            }
        }
        const auto* group = find_value<std::string>(values, SOURCE_GROUP_KEY);
        const auto* recursive = find_value<bool>(values, SCAN_RECURSIVE_KEY);
        if (group != nullptr) {
            note_group(*group, recursive != nullptr && *recursive);
        }
        return rates_;
    }

  private:
    std::optional<ObjectId> look_up(ObjectId group, const std::string& path, ObjectKind kind) {
        try {
            const auto object = tree_.find(group, path);
            return object && tree_.kind(*object) == kind ? object : std::nullopt;
        } catch (const TreeError&) {
            return std::nullopt; // no name that an object can have
        }
    }

    void note_set(ObjectId group, const std::string& path) {
        if (const auto set = look_up(group, path, ObjectKind::DataSet)) {
            note_rate(*set);
        }
    }

    void note_rate(ObjectId set) {
        try {
            const float rate = read_float(tree_, set, SAMPLE_RATE_ATTRIBUTE);
            if (std::isfinite(rate) && rate > 0.0F) {
                rates_.insert(rate);
            }
        } catch (const TreeError&) {
            // no number: the unit's request will be refused
        }
    }

    void note_sets(ObjectId group) {
        for (const std::string& name : tree_.list_datasets(group)) {
            note_set(group, name);
        }
    }

    void note_group(const std::string& path, bool recursive) {
        const auto group = look_up(tree_.root(), path, ObjectKind::Group);
        if (group && recursive) {
            walk_groups(tree_, *group, [&](ObjectId below) { note_sets(below); });
        } else if (group) {
            note_sets(*group);
        }
    }

    DataTree& tree_;
    std::set<float> rates_;
};

} // namespace

std::vector<FilterFacts> find_step_filters(const Step& step, DataTree& tree) {
    std::vector<FilterFacts> filters;
    if (const auto parameters = find_filter(step)) {
        for (const float rate : RateFinder(tree).find(step.values)) {
            filters.push_back(find_facts(*parameters, rate));
        }
    }
    return filters;
}

} // namespace talvora::host
