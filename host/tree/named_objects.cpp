#include "host/tree/named_objects.h"

#include "host/text/path_glob.h"
#include "host/tree/group_walk.h"
#include "host/tree/tree_rules.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace talvora::host {
namespace {

std::string join_names(const std::vector<std::string>& names) {
    std::string path;
    for (const std::string& name : names) {
        path = join_path(path, name);
    }
    return path;
}

// The group below which a pattern that names no object as it stands has to be looked for; nothing
// where nothing can match.
std::optional<ObjectId> find_start(DataTree& tree, std::string_view pattern) {
    const auto group = tree.find(tree.root(), find_fixed_part(pattern));
    const bool can_match = is_pattern(pattern) && group && tree.kind(*group) == ObjectKind::Group;
    return can_match ? group : std::nullopt;
}

template <typename Object>
std::vector<Object> keep_matches(std::vector<Object> objects, std::string_view pattern) {
    std::erase_if(objects,
                  [&](const Object& object) { return !matches_path(pattern, object.path); });
    return objects;
}

} // namespace

std::vector<NamedObject> list_objects(DataTree& tree, ObjectId group, const std::string& path) {
    std::vector<NamedObject> objects;
    walk_group_places(tree, group, path, [&](const GroupPlace& place) {
        if (place.path != path) {
            objects.push_back({place.path, ObjectKind::Group});
        }
        if (!place.is_first) {
            return;
        }
        for (const std::string& name : tree.list_datasets(place.id)) {
            objects.push_back({join_path(place.path, name), ObjectKind::DataSet});
        }
    });
    return objects;
}

// Names in front of the first wildcard may lead through links, which a walk does not follow
// twice.
std::vector<NamedObject> find_matches(DataTree& tree, std::string_view pattern) {
    if (const auto object = tree.find(tree.root(), pattern)) {
        return {{join_names(split_names(pattern)), tree.kind(*object)}};
    }
    const auto start = find_start(tree, pattern);
    return start ? keep_matches(list_objects(tree, *start, find_fixed_part(pattern)), pattern)
                 : std::vector<NamedObject>();
}

std::vector<NamedOther> list_others_below(DataTree& tree, ObjectId group, const std::string& path) {
    std::vector<NamedOther> others;
    walk_group_places(tree, group, path, [&](const GroupPlace& place) {
        if (!place.is_first) {
            return;
        }
        for (OtherObject& other : tree.list_others(place.id)) {
            std::string other_path = join_path(place.path, other.name);
            others.push_back({std::move(other_path), std::move(other)});
        }
    });
    return others;
}

std::vector<NamedOther> find_other_matches(DataTree& tree, std::string_view pattern) {
    if (!is_pattern(pattern) || tree.find(tree.root(), pattern)) {
        return {};
    }
    const auto start = find_start(tree, pattern);
    return start ? keep_matches(list_others_below(tree, *start, find_fixed_part(pattern)), pattern)
                 : std::vector<NamedOther>();
}

std::string find_fixed_part(std::string_view pattern) {
    std::vector<std::string> names = split_names(pattern);
    names.erase(std::ranges::find_if(names, is_pattern), names.end());
    return join_names(names);
}

std::vector<std::string> paths_of_kind(const std::vector<NamedObject>& objects, ObjectKind kind) {
    std::vector<std::string> paths;
    for (const NamedObject& object : objects) {
        if (object.kind == kind) {
            paths.push_back(object.path);
        }
    }
    return paths;
}

std::string_view name_kind(ObjectKind kind) {
    return kind == ObjectKind::Group ? "group" : "data set";
}

} // namespace talvora::host
