#include "host/interface/path_patterns.h"

#include "host/interface/parameter_places.h"
#include "host/text/join_texts.h"
#include "host/text/nearest_text.h"
#include "host/text/path_glob.h"
#include "host/text/quote_word.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <span>
#include <variant>

namespace talvora::host {
namespace {

std::vector<std::string> sort_names(std::vector<std::string> names) {
    sort_naturally(names);
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

// ---------------------------------------------------------------------------
// Messages

// The names in a group, for a text that is near to one of them.
std::string describe_nearest(DataTree& tree, ObjectId group, const std::string& path,
                             std::string_view name) {
    std::vector<std::string> names = tree.list_groups(group);
    std::ranges::copy(tree.list_datasets(group), std::back_inserter(names));
    const auto nearest = find_nearest(name, names);
    if (nearest) {
        return fmt::format("nearest: {}", join_path(path, *nearest));
    }
    if (names.empty()) {
        std::ranges::transform(tree.list_others(group), std::back_inserter(names),
                               &OtherObject::name);
    }
    return names.empty() ? fmt::format("'{}' is empty", path.empty() ? "/" : path)
                         : fmt::format("in '/{}': {}", path, list_some(sort_names(names)));
}

// Follows the pattern's names as far as they exist.
std::string describe_nearest(DataTree& tree, std::string_view pattern) {
    ObjectId group = tree.root();
    std::string path;
    for (const std::string& name : split_names(pattern)) {
        const auto next = tree.find(group, name);
        if (!next || tree.kind(*next) != ObjectKind::Group) {
            return describe_nearest(tree, group, path, name);
        }
        group = *next;
        path = join_path(path, name);
    }
    return describe_nearest(tree, group, path, "");
}

// An object that is there, but is nothing to work on.
Failure explain_other(DataTree& tree, const std::string& path, const std::string& source) {
    const auto [group, name] = split_last(path);
    std::string description = "something else";
    for (const OtherObject& other : tree.list_others(tree.find(tree.root(), group).value())) {
        if (other.name == name) {
            description = other.description;
        }
    }
    return {ExitCode::Input,
            begin_with(source,
                       fmt::format("'{}' is a {}; samples are floats of 16, 32 or 64 bits or "
                                   "integers of 8, 16, 32 or 64, in data sets of rank 1 or more",
                                   path, description)),
            {"convert it to one with the tool that made it"}};
}

// A group where a data set is wanted, or the other way round. The pattern for all sets of a group
// helps where several names can be given.
Failure explain_kind(ObjectKind wanted, const std::string& key, const std::string& name,
                     bool takes_several, const std::string& source) {
    const bool is_group = wanted == ObjectKind::DataSet;
    const ObjectKind kind = is_group ? ObjectKind::Group : ObjectKind::DataSet;
    return {ExitCode::Input,
            begin_with(source, fmt::format("{}={}: that is a {}, and a {} is wanted", key, name,
                                           name_kind(kind), name_kind(wanted))),
            {is_group && takes_several ? fmt::format("its data sets are {}={}/*", key, name)
                                       : hint_tree(source)}};
}

// ---------------------------------------------------------------------------
// Parameters

class Expansion {
  public:
    Expansion(DataTree& tree, ObjectKind kind, const std::string& key, const std::string& source)
        : tree_(tree), kind_(kind), key_(key), source_(source) {}

    void expand(std::string& name) const {
        const std::vector<std::string> found = find(name, false);
        if (found.size() > 1) {
            throw Failure(
                ExitCode::Input,
                begin_with(source_, fmt::format("{}={}: {} objects match, one is taken: {}", key_,
                                                name, found.size(), list_some(found))),
                {"write a pattern that matches one of them alone"});
        }
        name = found.front();
    }

    void expand(std::vector<std::string>& names) const {
        std::vector<std::string> expanded;
        for (const std::string& name : names) {
            for (const std::string& found : find(name, true)) {
                if (found == name || std::ranges::find(expanded, found) == expanded.end()) {
                    expanded.push_back(found);
                }
            }
        }
        names = std::move(expanded);
    }

    template <typename Other>
    void expand(Other&) const {}

  private:
    std::optional<ObjectId> look_up(const std::string& name) const {
        try {
            return tree_.find(tree_.root(), name);
        } catch (const StorageError&) {
            throw;
        } catch (const TreeError&) {
            return std::nullopt; // no name that an object can have
        }
    }

    // What is there but is something else is told here: the unit would say that there is nothing.
    void refuse_other_kind(const std::string& name, ObjectId object, bool takes_several) const {
        const ObjectKind kind = tree_.kind(object);
        if (kind == ObjectKind::Other) {
            throw explain_other(tree_, name, source_);
        }
        if (kind != kind_) {
            throw explain_kind(kind_, key_, name, takes_several, source_);
        }
    }

    std::vector<std::string> find(const std::string& name, bool takes_several) const {
        if (const auto object = look_up(name)) {
            refuse_other_kind(name, *object, takes_several);
            return {name};
        }
        if (!is_pattern(name)) {
            return {name};
        }
        auto found = sort_names(paths_of_kind(find_matches(tree_, name), kind_));
        if (found.empty()) {
            const Failure failure = explain_no_match(tree_, name, source_);
            throw Failure(failure.code(),
                          begin_with(source_, fmt::format("{}={}: no {} matches", key_, name,
                                                          name_kind(kind_))),
                          failure.hints());
        }
        return found;
    }

    DataTree& tree_;
    ObjectKind kind_;
    const std::string& key_;
    const std::string& source_;
};

} // namespace

std::vector<std::string> choose_sets(DataTree& tree, std::string_view pattern,
                                     const std::string& source) {
    std::vector<std::string> sets;
    const std::vector<NamedObject> matches = find_matches(tree, pattern);
    for (const NamedObject& object : matches) {
        if (object.kind == ObjectKind::Other) {
            throw explain_other(tree, object.path, source);
        }
        if (object.kind == ObjectKind::DataSet) {
            sets.push_back(object.path);
            continue;
        }
        const ObjectId group = tree.find(tree.root(), object.path).value();
        std::ranges::copy(
            paths_of_kind(list_objects(tree, group, object.path), ObjectKind::DataSet),
            std::back_inserter(sets));
    }
    if (sets.empty() && !pattern.empty() && !matches.empty()) {
        throw Failure(
            ExitCode::Input,
            begin_with(source, fmt::format("no data set below '{}'", matches.front().path)),
            {hint_tree(source)});
    }
    if (sets.empty()) {
        throw explain_no_match(tree, pattern, source);
    }
    return sort_names(std::move(sets));
}

std::vector<NamedOther> list_left_out(DataTree& tree, std::string_view pattern) {
    std::vector<NamedOther> left = find_other_matches(tree, pattern);
    for (const NamedObject& object : find_matches(tree, pattern)) {
        if (object.kind == ObjectKind::Group) {
            const ObjectId group = tree.find(tree.root(), object.path).value();
            std::ranges::move(list_others_below(tree, group, object.path),
                              std::back_inserter(left));
        }
    }
    std::ranges::sort(left, {}, &NamedOther::path);
    const auto has_same_path = [](const NamedOther& a, const NamedOther& b) {
        return a.path == b.path;
    };
    left.erase(std::unique(left.begin(), left.end(), has_same_path), left.end());
    return left;
}

ParameterValues expand_patterns(const ParameterValues& values, DataTree& tree,
                                const std::string& source) {
    ParameterValues expanded = values;
    for (const ParameterSignature& signature : values.signatures()) {
        const auto place = named_place(signature.key);
        const ParameterValue* given = values.find(signature.key);
        if (place && !place->is_made && given != nullptr) {
            ParameterValue value = *given;
            const Expansion expansion(tree, place->kind, signature.key, source);
            std::visit([&](auto& alternative) { expansion.expand(alternative); }, value);
            if (value != *given) {
                expanded.set(signature.key, std::move(value));
            }
        }
    }
    return expanded;
}

std::string join_hints(const std::string& hint, const std::string& command) {
    return hint + (hint.empty() || command.empty() ? "" : "    ") + command;
}

std::string hint_tree(const std::string& source) {
    return source.empty() ? "" : "list them: talvora-host tree " + quote_word(source);
}

Failure explain_no_match(DataTree& tree, std::string_view pattern, const std::string& source) {
    const std::string what = pattern.empty() ? "no data set of real numbers"
                                             : fmt::format("nothing matches '{}'", pattern);
    return {ExitCode::Input,
            begin_with(source, what),
            {join_hints(describe_nearest(tree, pattern), hint_tree(source))}};
}

} // namespace talvora::host
