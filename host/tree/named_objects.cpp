#include "host/tree/named_objects.h"

#include "host/text/path_glob.h"
#include "host/tree/group_walk.h"
#include "host/tree/tree_rules.h"

#include <algorithm>

namespace talvora::host {
namespace {

std::string join_names(const std::vector<std::string>& names) {
    std::string path;
    for (const std::string& name : names) {
        path = join_path(path, name);
    }
    return path;
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
    const std::string start = find_fixed_part(pattern);
    const auto group = tree.find(tree.root(), start);
    if (!is_pattern(pattern) || !group || tree.kind(*group) != ObjectKind::Group) {
        return {};
    }
    std::vector<NamedObject> matches = list_objects(tree, *group, start);
    std::erase_if(matches,
                  [&](const NamedObject& object) { return !matches_path(pattern, object.path); });
    return matches;
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
