#include "host/filters/step_filters.h"

#include "host/interface/table_objects.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>
#include <string>

namespace talvora::host {
namespace {

// Both identifiers end so.
constexpr std::string_view UNIT_ENDING = "set-butterworth";

// Null when the parameter has no value, or one of another type.
template <typename Value>
const Value* get(const ParameterValues& values, std::string_view key) {
    const ParameterValue* value = values.find(key);
    return value == nullptr ? nullptr : std::get_if<Value>(value);
}

bool is_refused(const ButterworthParameters& parameters) {
    return 0.0 >= parameters.cutoff || parameters.order <= 0 ||
           (count_edges(parameters.bandform) == 2) != (parameters.bandwidth != 0.0) ||
           0.0 > parameters.bandwidth;
}

std::optional<ButterworthParameters> read_filter(const ParameterValues& values) {
    const auto* cutoff = get<double>(values, "CutoffFrequency");
    const auto* order = get<std::int64_t>(values, "Order");
    const auto* bandwidth = get<double>(values, "BandWidth");
    const auto* name = get<std::string>(values, "Bandform");
    if (cutoff == nullptr || order == nullptr || bandwidth == nullptr || name == nullptr) {
        return std::nullopt;
    }
    const auto bandform = parse_bandform(*name);
    if (!bandform) {
        return std::nullopt;
    }
    // Of the order the unit takes the low 32 bits.
    const ButterworthParameters parameters = {*cutoff, static_cast<std::int32_t>(*order),
                                              *bandwidth, *bandform};
    return is_refused(parameters) ? std::nullopt : std::optional(parameters);
}

// The rates of the sets that "SourceSets", "SourceGroup" and "ScanRecursive" choose.
class RateFinder {
  public:
    explicit RateFinder(DataTree& tree) : tree_(tree) {}

    std::set<float> find(const ParameterValues& values) {
        if (const auto* sets = get<std::vector<std::string>>(values, "SourceSets")) {
            for (const std::string& path : *sets) {
                note_set(tree_.root(), path);
            }
        }
        const auto* group = get<std::string>(values, "SourceGroup");
        const auto* recursive = get<bool>(values, "ScanRecursive");
        if (group != nullptr) {
            note_group(tree_.root(), *group, recursive != nullptr && *recursive);
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
            const float rate = read_float(tree_, set, "SampleRate");
            if (std::isfinite(rate) && rate > 0.0F) {
                rates_.insert(rate);
            }
        } catch (const TreeError&) {
            // no number: the unit's request will be refused
        }
    }

    void note_group(ObjectId parent, const std::string& path, bool recursive) {
        const auto group = look_up(parent, path, ObjectKind::Group);
        // A group may be linked into itself.
        if (!group || !visited_.insert(*group).second) {
            return;
        }
        for (const std::string& name : tree_.list_datasets(*group)) {
            note_set(*group, name);
        }
        if (recursive) {
            for (const std::string& name : tree_.list_groups(*group)) {
                note_group(*group, name, true);
            }
        }
    }

    DataTree& tree_;
    std::set<ObjectId> visited_;
    std::set<float> rates_;
};

} // namespace

std::vector<FilterFacts> find_step_filters(const Step& step, DataTree& tree) {
    std::vector<FilterFacts> filters;
    const auto parameters =
        step.unit->name.ends_with(UNIT_ENDING) ? read_filter(step.values) : std::nullopt;
    if (parameters) {
        for (const float rate : RateFinder(tree).find(step.values)) {
            filters.push_back(find_facts(*parameters, rate));
        }
    }
    return filters;
}

} // namespace talvora::host
