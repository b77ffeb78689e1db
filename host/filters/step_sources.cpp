#include "host/filters/step_sources.h"

#include "host/filters/filter_parameters.h"
#include "host/filters/known_units.h"
#include "host/interface/table_objects.h"
#include "host/tree/group_walk.h"
#include "host/tree/number_attribute.h"

#include <cmath>
#include <cstdint>
#include <optional>
#include <set>
#include <string>

namespace talvora::host {
namespace {

class SetList {
  public:
    explicit SetList(DataTree& tree) : tree_(tree) {}

    void add(ObjectId group, const std::vector<std::string>& paths) {
        for (const std::string& path : paths) {
            const auto set = look_up(tree_, group, path, ObjectKind::DataSet);
            if (set && known_.insert(*set).second) {
                sets_.push_back(*set);
            }
        }
    }

    std::vector<ObjectId> take() { return std::move(sets_); }

  private:
    DataTree& tree_;
    std::set<ObjectId> known_;
    std::vector<ObjectId> sets_;
};

} // namespace

std::optional<ObjectId> look_up(DataTree& tree, ObjectId group, const std::string& path,
                                ObjectKind kind) {
    try {
        const auto object = tree.find(group, path);
        return object && tree.kind(*object) == kind ? object : std::nullopt;
    } catch (const StorageError&) {
        throw;
    } catch (const TreeError&) {
        return std::nullopt; // no name that an object can have
    }
}

std::vector<ObjectId> find_source_groups(const ParameterValues& values, DataTree& tree) {
    const auto* path = find_value<std::string>(values, SOURCE_GROUP_KEY);
    const auto group =
        path == nullptr ? std::nullopt : look_up(tree, tree.root(), *path, ObjectKind::Group);
    if (!group) {
        return {};
    }
    const auto* recursive = find_value<bool>(values, SCAN_RECURSIVE_KEY);
    if (recursive == nullptr || !*recursive) {
        return {*group};
    }
    std::vector<ObjectId> groups;
    walk_groups(tree, *group, [&](ObjectId below) { groups.push_back(below); });
    return groups;
}

std::vector<ObjectId> find_source_sets(const ParameterValues& values, DataTree& tree) {
    SetList sets(tree);
    if (const auto* paths = find_value<std::vector<std::string>>(values, SOURCE_SETS_KEY)) {
        sets.add(tree.root(), *paths);
    }
    const auto* names = find_value<std::vector<std::string>>(values, NAMES_FILTER_KEY);
    const bool takes_all = names == nullptr || names->empty();
    for (const ObjectId group : find_source_groups(values, tree)) {
        sets.add(group, takes_all ? tree.list_datasets(group) : *names);
    }
    return sets.take();
}

bool has_metric(DataTree& tree, ObjectId set, const std::string& metric) {
    try {
        return metric.empty() ||
               tree.read_attribute(set, METRIC_TYPE_ATTRIBUTE) == AttributeValue(metric);
    } catch (const StorageError&) {
        throw;
    } catch (const TreeError&) {
        return false; // no text
    }
}

std::optional<float> find_usable_rate(DataTree& tree, ObjectId object) {
    try {
        const float rate = read_float(tree, object, SAMPLE_RATE_ATTRIBUTE);
        return std::isfinite(rate) && rate > 0.0F ? std::optional(rate) : std::nullopt;
    } catch (const StorageError&) {
        throw;
    } catch (const TreeError&) {
        return std::nullopt; // no number
    }
}

std::size_t find_axis(const ParameterValues& values, const Extents& extents) {
    const auto* axis = find_value<std::int64_t>(values, AXIS_KEY);
    const bool is_one =
        axis != nullptr && *axis >= 0 && static_cast<std::uint64_t>(*axis) < extents.size();
    return is_one ? static_cast<std::size_t>(*axis) : extents.size() - 1;
}

} // namespace talvora::host
