#include "host/recipe_places.h"

#include "host/nearest_text.h"
#include "host/path_glob.h"
#include "host/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <string>
#include <string_view>

namespace talvora::host {
namespace {

// What a parameter names in the tree shows in its key, which all units share.
struct PlaceRow {
    std::string_view key;
    ObjectKind kind;
    bool is_made = false; // by the step, when it is not there
};
constexpr PlaceRow PLACES[] = {
    {"SourceSets", ObjectKind::DataSet},
    {"SourceGroup", ObjectKind::Group},
    {"HintSet", ObjectKind::DataSet},
    {"HintGroup", ObjectKind::Group},
    {"DestinationGroup", ObjectKind::Group, true},
    {"DestinationSet", ObjectKind::DataSet, true},
};

std::string_view name_kind(ObjectKind kind) {
    return kind == ObjectKind::Group ? "group" : "data set";
}

std::vector<std::string> list_given(const Step& step, std::string_view key) {
    const ParameterValue* value = step.values.find(key);
    if (value == nullptr) {
        return {};
    }
    if (const auto* text = std::get_if<std::string>(value)) {
        return {*text};
    }
    const auto* list = std::get_if<std::vector<std::string>>(value);
    return list == nullptr ? std::vector<std::string>() : *list;
}

// Groups may be linked into each other, so each is entered once.
void collect_paths(DataTree& tree, ObjectId group, ObjectKind kind, std::set<ObjectId>& visited,
                   std::vector<std::string>& paths) {
    if (!visited.insert(group).second) {
        return;
    }
    const auto names =
        kind == ObjectKind::Group ? tree.list_groups(group) : tree.list_datasets(group);
    for (const std::string& name : names) {
        paths.push_back(join_path(tree.path(group), name));
    }
    for (const std::string& name : tree.list_groups(group)) {
        collect_paths(tree, tree.find(group, name).value(), kind, visited, paths);
    }
}

// " Key=a Key=b" for "a,b"
std::string repeat_key(std::string_view key, std::string_view names) {
    std::string words;
    while (!names.empty()) {
        const std::string_view name = names.substr(0, names.find(','));
        names.remove_prefix(std::min(names.size(), name.size() + 1));
        words += fmt::format(" {}={}", key, name);
    }
    return words;
}

class PlaceFinder {
  public:
    explicit PlaceFinder(DataTree& tree) : tree_(tree) {}

    void check(const Step& step) {
        for (const PlaceRow& row : PLACES) {
            for (const std::string& path : list_given(step, row.key)) {
                row.is_made ? note_made(path) : check(step, row, path);
            }
        }
    }

    std::vector<ParameterProblem> take_problems() { return std::move(problems_); }

  private:
    using Names = std::vector<std::string>;

    void note_made(const std::string& path) { made_.push_back(split_path(path)); }

    // At such a place, below it, or on the way to it.
    bool is_made(const std::string& path) const {
        const Names names = split_path(path);
        return std::ranges::any_of(made_, [&](const Names& made) {
            const std::size_t shared_count = std::min(made.size(), names.size());
            return std::equal(names.begin(),
                              names.begin() + static_cast<std::ptrdiff_t>(shared_count),
                              made.begin());
        });
    }

    // What an earlier step makes is not known by name, so a pattern may be for that.
    bool is_matched(ObjectKind kind, const std::string& pattern) {
        std::set<ObjectId> visited;
        std::vector<std::string> paths;
        collect_paths(tree_, tree_.root(), kind, visited, paths);
        return !made_.empty() || std::ranges::any_of(paths, [&](const std::string& path) {
            return matches_path(pattern, path);
        });
    }

    void check(const Step& step, const PlaceRow& row, const std::string& path) {
        const auto object = tree_.find(tree_.root(), path);
        if (object && tree_.kind(*object) == row.kind) {
            return;
        }
        if (!object && (is_made(path) || (is_pattern(path) && is_matched(row.kind, path)))) {
            return;
        }
        const std::string_view kind = name_kind(row.kind);
        problems_.push_back(
            {fmt::format("step '{}': {} '{}' is {}", step.name, row.key, path,
                         object ? fmt::format("there, but is no {} that units can use", kind)
                                : fmt::format("not there (a {} is wanted)", kind)),
             suggest(step, row, path)});
    }

    std::string suggest(const Step& step, const PlaceRow& row, const std::string& path) {
        const ParameterSignature* signature = step.values.signature(row.key);
        if (signature != nullptr && is_list(signature->type) && path.find(',') != path.npos) {
            return "repeat the key for each name:" + repeat_key(row.key, path);
        }
        return find_nearest_place(path, row.kind);
    }

    std::string find_nearest_place(const std::string& path, ObjectKind kind) {
        std::vector<std::string> known;
        std::set<ObjectId> visited;
        collect_paths(tree_, tree_.root(), kind, visited, known);
        const auto nearest = find_nearest(path, known);
        return nearest ? fmt::format("nearest: {}", *nearest) : "";
    }

    DataTree& tree_;
    std::vector<Names> made_;
    std::vector<ParameterProblem> problems_;
};

} // namespace

std::vector<ParameterProblem> find_missing_places(const Recipe& recipe, DataTree& tree) {
    PlaceFinder finder(tree);
    for (const Step& step : recipe.steps) {
        finder.check(step);
    }
    return finder.take_problems();
}

} // namespace talvora::host
