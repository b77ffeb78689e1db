#include "host/recipes/recipe_places.h"

#include "host/interface/parameter_places.h"
#include "host/text/nearest_text.h"
#include "host/text/path_glob.h"
#include "host/tree/named_objects.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace talvora::host {
namespace {

using Names = std::vector<std::string>;

Names list_given(const Step& step, std::string_view key) {
    const ParameterValue* value = step.values.find(key);
    if (value == nullptr) {
        return {};
    }
    if (const auto* text = std::get_if<std::string>(value)) {
        return {*text};
    }
    const auto* list = std::get_if<std::vector<std::string>>(value);
    return list == nullptr ? Names() : *list;
}

// " Key=a Key=b" for "a,b".
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
        for (const ParameterSignature& signature : step.values.signatures()) {
            const auto place = named_place(signature.key);
            for (const std::string& path : place ? list_given(step, signature.key) : Names()) {
                if (place->is_made) {
                    note_made(path);
                } else {
                    check(step, signature, place->kind, path);
                }
            }
        }
    }

    std::vector<ParameterProblem> take_problems() { return std::move(problems_); }

  private:
    void note_made(const std::string& path) { made_.push_back(split_names(path)); }

    // At such a place, below it, or on the way to it.
    bool is_made(std::string_view path) const {
        const Names names = split_names(path);
        return std::ranges::any_of(made_, [&](const Names& made) {
            const std::size_t shared_count = std::min(made.size(), names.size());
            return std::equal(names.begin(),
                              names.begin() + static_cast<std::ptrdiff_t>(shared_count),
                              made.begin());
        });
    }

    // What an earlier step makes below its place is not known by name.
    bool is_matched(ObjectKind kind, const std::string& pattern) {
        return is_made(find_fixed_part(pattern)) ||
               !paths_of_kind(find_matches(tree_, pattern), kind).empty();
    }

    void check(const Step& step, const ParameterSignature& signature, ObjectKind kind,
               const std::string& path) {
        const auto object = tree_.find(tree_.root(), path);
        if (object ? tree_.kind(*object) == kind : is_made(path) || is_matched(kind, path)) {
            return;
        }
        problems_.push_back(
            {fmt::format(
                 "step '{}': {} '{}' is {}", step.name, signature.key, path,
                 object ? fmt::format("there, but is no {} that units can use", name_kind(kind))
                        : fmt::format("not there (a {} is wanted)", name_kind(kind))),
             suggest(signature, kind, path)});
    }

    std::string suggest(const ParameterSignature& signature, ObjectKind kind,
                        const std::string& path) {
        if (is_list(signature.type) && path.find(',') != path.npos) {
            return "repeat the key for each name:" + repeat_key(signature.key, path);
        }
        const Names known = paths_of_kind(list_objects(tree_, tree_.root(), ""), kind);
        const auto nearest = find_nearest(path, known);
        return nearest ? fmt::format("nearest: {}", *nearest) : "";
    }

    DataTree& tree_;
    std::vector<Names> made_;
    std::vector<ParameterProblem> problems_;
};

} // namespace

std::vector<ParameterProblem> check_places(const Recipe& recipe, DataTree& tree) {
    PlaceFinder finder(tree);
    for (const Step& step : recipe.steps) {
        finder.check(step);
    }
    return finder.take_problems();
}

} // namespace talvora::host
