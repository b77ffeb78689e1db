#include "host/filters/step_sets.h"

#include "host/filters/filter_parameters.h"
#include "host/filters/known_units.h"
#include "host/tree/group_walk.h"

#include <algorithm>
#include <optional>
#include <string>

namespace talvora::host {
namespace {

using Names = std::vector<std::string>;

class SetFinder {
  public:
    SetFinder(const ParameterValues& values, DataTree& tree) : values_(values), tree_(tree) {}

    std::vector<ObjectId> find() {
        if (const auto* sets = find_value<Names>(values_, SOURCE_SETS_KEY)) {
            add_sets(tree_.root(), *sets);
        }
        if (const auto* path = find_value<std::string>(values_, SOURCE_GROUP_KEY)) {
            if (const auto group = look_up(tree_.root(), *path, ObjectKind::Group)) {
                add_group(*group);
            }
        }
        return std::move(found_);
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

    void add_sets(ObjectId group, const Names& names) {
        for (const std::string& name : names) {
            const auto set = look_up(group, name, ObjectKind::DataSet);
            if (set && std::ranges::find(found_, *set) == found_.end()) {
                found_.push_back(*set);
            }
        }
    }

    void add_group(ObjectId group) {
        const auto* recursive = find_value<bool>(values_, SCAN_RECURSIVE_KEY);
        const auto* names = find_value<Names>(values_, NAMES_FILTER_KEY);
        if (names != nullptr && !names->empty()) {
            add_sets(group, *names);
        } else if (recursive != nullptr && *recursive) {
            walk_groups(tree_, group,
                        [&](ObjectId below) { add_sets(below, tree_.list_datasets(below)); });
        } else {
            add_sets(group, tree_.list_datasets(group));
        }
    }

    const ParameterValues& values_;
    DataTree& tree_;
    std::vector<ObjectId> found_;
};

} // namespace

std::vector<ObjectId> find_step_sets(const ParameterValues& values, DataTree& tree) {
    return SetFinder(values, tree).find();
}

} // namespace talvora::host
