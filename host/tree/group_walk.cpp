#include "host/tree/group_walk.h"

#include "host/tree/tree_rules.h"

#include <set>

namespace talvora::host {

namespace {

class Walk {
  public:
    Walk(DataTree& tree, const std::function<void(const GroupPlace&)>& visit)
        : tree_(tree), visit_(visit) {}

    void come_upon(ObjectId group, const std::string& path) {
        const bool is_first = met_.insert(group).second;
        visit_({group, path, is_first});
        if (is_first) {
            enter(group, path);
        }
    }

  private:
    void enter(ObjectId group, const std::string& path) {
        for (const std::string& name : tree_.list_groups(group)) {
            // A listed group that is not found is one of a tree that is made to fail.
            if (const auto child = tree_.find(group, name)) {
                come_upon(*child, join_path(path, name));
            }
        }
    }

    DataTree& tree_;
    const std::function<void(const GroupPlace&)>& visit_;
    std::set<ObjectId> met_;
};

class LoopSearch {
  public:
    explicit LoopSearch(DataTree& tree) : tree_(tree) {}

    std::optional<std::string> look_below(ObjectId group, const std::string& path) {
        above_.insert(group);
        for (const std::string& name : tree_.list_groups(group)) {
            const auto child = tree_.find(group, name);
            if (!child || done_.contains(*child)) {
                continue;
            }
            const std::string child_path = join_path(path, name);
            if (above_.contains(*child)) {
                return child_path;
            }
            if (auto found = look_below(*child, child_path)) {
                return found;
            }
        }
        above_.erase(group);
        done_.insert(group);
        return std::nullopt;
    }

  private:
    DataTree& tree_;
    std::set<ObjectId> above_; // on the way to where it looks
    std::set<ObjectId> done_;  // no way down from these leads back
};

} // namespace

std::optional<std::string> find_loop(DataTree& tree, ObjectId group, const std::string& path) {
    return LoopSearch(tree).look_below(group, path);
}

void walk_group_places(DataTree& tree, ObjectId group, const std::string& path,
                       const std::function<void(const GroupPlace&)>& visit) {
    Walk(tree, visit).come_upon(group, path);
}

void walk_groups(DataTree& tree, ObjectId group, const std::function<void(ObjectId)>& visit) {
    walk_group_places(tree, group, "", [&](const GroupPlace& place) {
        if (place.is_first) {
            visit(place.id);
        }
    });
}

} // namespace talvora::host
