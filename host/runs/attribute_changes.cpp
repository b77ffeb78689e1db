#include "host/runs/attribute_changes.h"

#include "host/interface/path_patterns.h"
#include "host/text/ascii.h"
#include "host/text/failure.h"
#include "host/text/join_texts.h"
#include "host/text/nearest_text.h"
#include "host/text/plural.h"
#include "host/tree/line_names.h"
#include "host/tree/number_attribute.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <set>
#include <string_view>

namespace talvora::host {
namespace {

// The name of a type that would take the value, as a word gives it.
std::string suggest_type(const AttributeWord& word) {
    const NewAttribute made = make_attribute(word, std::nullopt);
    return std::string(made.number ? name_sample_type(*made.number) : "text");
}

// What sets are read by; anything else is a name of the user's own.
constexpr std::string_view SIGNAL_NAMES[] = {SAMPLE_RATE_ATTRIBUTE, START_TIME_ATTRIBUTE,
                                             LABELS_ATTRIBUTE, UNIT_ATTRIBUTE};

std::string letters_of(std::string_view name) {
    std::string letters;
    for (const char c : name) {
        letters += is_letter(c) ? std::string(1, to_lower(c)) : "";
    }
    return letters;
}

// Another writing of such a name, which would be read by nothing: "samplerate", "sample_rate".
std::optional<std::string_view> find_meant_name(std::string_view name) {
    const auto* const meant = std::ranges::find(
        SIGNAL_NAMES, letters_of(name), [](std::string_view known) { return letters_of(known); });
    return meant == std::end(SIGNAL_NAMES) || *meant == name ? std::nullopt : std::optional(*meant);
}

// A name for each index of one of the two dimensions that may have them (line_names.h); a unit for
// all, or for each component.
bool fits_components(const AttributeWord& word, const Extents& extents) {
    const std::size_t count = word.items.size();
    if (word.name == UNIT_ATTRIBUTE) {
        return count == 1 || count == extents.front();
    }
    return word.name != LABELS_ATTRIBUTE || count == extents.front() ||
           (extents.size() > 1 && count == extents[1]);
}

class Editor {
  public:
    Editor(Hdf5Tree& tree, const std::string& source) : tree_(tree), source_(source) {}

    AttributeChange set(const std::string& path, const AttributeWord& word) const {
        const ObjectId object = find(path);
        auto before = find_attribute(tree_, object, word.name);
        if (!word.type) { // else it is meant so
            refuse_other_writing(path, word, before.has_value());
            refuse_other_count(object, path, word);
            refuse_labels_alike(object, path, word);
        }
        write(object, path, word, before);
        auto after = find_attribute(tree_, object, word.name);
        check(path, word, before, *after);
        return {path, word.name, std::move(before), std::move(after)};
    }

    // Nothing where there is none of that name.
    std::optional<AttributeChange> remove(const std::string& path, const std::string& name) const {
        const ObjectId object = find(path);
        auto before = find_attribute(tree_, object, name);
        if (!before) {
            return std::nullopt;
        }
        tree_.remove_attribute(object, name);
        return AttributeChange{path, name, std::move(before), std::nullopt};
    }

    ObjectId find(const std::string& path) const { return tree_.find(tree_.root(), path).value(); }

  private:
    void refuse_other_writing(const std::string& path, const AttributeWord& word,
                              bool is_there) const {
        const auto meant = find_meant_name(word.name);
        if (meant && !is_there) {
            throw Failure(ExitCode::Usage,
                          fmt::format("{}: {}: no attribute '{}' is there, and nothing would read "
                                      "it",
                                      source_, name_owner(path), word.name),
                          {fmt::format("did you mean '{}'?", *meant), hint_at_type(word)});
        }
    }

    void refuse_other_count(ObjectId object, const std::string& path,
                            const AttributeWord& word) const {
        if (tree_.kind(object) != ObjectKind::DataSet) {
            return;
        }
        const Extents extents = tree_.extents(object);
        if (!fits_components(word, extents)) {
            throw Failure(ExitCode::Usage,
                          fmt::format("{}: {}: {} of '{}' for {} of {}", source_, name_owner(path),
                                      count_things(word.items.size(), "text"), word.name,
                                      count_things(extents.front(), "component"),
                                      describe_extents(extents)),
                          {hint_at_type(word)});
        }
    }

    void refuse_labels_alike(ObjectId object, const std::string& path,
                             const AttributeWord& word) const {
        const std::set<std::string> labels(word.items.begin(), word.items.end());
        if (word.name == LABELS_ATTRIBUTE && tree_.kind(object) == ObjectKind::DataSet &&
            labels.size() < word.items.size()) {
            throw Failure(ExitCode::Usage,
                          fmt::format("{}: {}: the texts of '{}' are {}, and name nothing where "
                                      "some are alike",
                                      source_, name_owner(path), word.name, describe_items(word)),
                          {hint_at_type(word)});
        }
    }

    static std::string hint_at_type(const AttributeWord& word) {
        return fmt::format("if it is meant so, its type says it: {}:{}=...", word.name,
                           suggest_type(word));
    }

    void write(ObjectId object, const std::string& path, const AttributeWord& word,
               const std::optional<HeldAttribute>& before) const {
        try {
            const NewAttribute made = make_attribute(word, before ? std::optional(before->type)
                                                                  : std::optional<AttributeType>());
            if (made.keeps_type) {
                tree_.rewrite_attribute(object, word.name, made.value);
            } else if (made.number) {
                tree_.write_attribute_as(object, word.name, made.value, *made.number);
            } else {
                tree_.write_attribute(object, word.name, made.value);
            }
        } catch (const AttributeMisfit& misfit) {
            throw explain_misfit(path, word, before->type, misfit.what());
        }
    }

    // What a type cuts is seen in what is held.
    void check(const std::string& path, const AttributeWord& word,
               const std::optional<HeldAttribute>& before, const HeldAttribute& after) const {
        const std::optional<AttributeType> kept =
            before && !word.type ? std::optional(before->type) : std::nullopt;
        const bool is_rate = word.name == SAMPLE_RATE_ATTRIBUTE;
        if (!after.value || !holds_value(*after.value, make_attribute(word, kept).value) ||
            (is_rate && as_number(after.value).value_or(0) <= 0)) {
            throw explain_misfit(path, word, after.type,
                                 fmt::format("{} does not fit", describe_items(word)));
        }
    }

    Failure explain_misfit(const std::string& path, const AttributeWord& word,
                           const AttributeType& type, std::string_view reason) const {
        std::vector<std::string> hints;
        const std::string suggested = suggest_type(word);
        if (!word.type && suggested != type.name) {
            hints.push_back(
                fmt::format("another type takes its place: {}:{}=...", word.name, suggested));
        }
        return {ExitCode::Usage,
                fmt::format("{}: {}: attribute '{}' is stored as {}: {}", source_, name_owner(path),
                            word.name, name_attribute_type(type), reason),
                hints};
    }

    Hdf5Tree& tree_;
    const std::string& source_;
};

Failure explain_missing(Hdf5Tree& tree, std::span<const ObjectId> objects, const std::string& name,
                        const std::string& source) {
    std::set<std::string> names;
    for (const ObjectId object : objects) {
        std::ranges::copy(tree.list_attributes(object), std::inserter(names, names.end()));
    }
    const std::vector<std::string> known(names.begin(), names.end());
    const auto nearest = find_nearest(name, known);
    return {ExitCode::Input,
            fmt::format("{}: no attribute '{}' to remove (there: {})", source, name,
                        known.empty() ? "none" : list_some(known)),
            nearest ? std::vector{fmt::format("did you mean '{}'?", *nearest)}
                    : std::vector<std::string>()};
}

bool is_same_number(double a, double b) {
    return a == b || (std::isnan(a) && std::isnan(b));
}

struct IsSame {
    bool operator()(float a, float b) const {
        return is_same_number(static_cast<double>(a), static_cast<double>(b));
    }
    bool operator()(double a, double b) const { return is_same_number(a, b); }
    bool operator()(const NumberArray& a, const NumberArray& b) const {
        return a.extents == b.extents && std::ranges::equal(a.values, b.values, is_same_number);
    }
    template <typename Value>
    bool operator()(const Value& a, const Value& b) const {
        return a == b;
    }
    template <typename A, typename B>
    bool operator()(const A&, const B&) const {
        return false;
    }
};

bool is_same(const std::optional<HeldAttribute>& a, const std::optional<HeldAttribute>& b) {
    return a.has_value() == b.has_value() &&
           (!a || (a->type.name == b->type.name && a->value && b->value &&
                   std::visit(IsSame{}, *a->value, *b->value)));
}

} // namespace

std::string name_owner(const std::string& path) {
    return path.empty() ? "/" : path;
}

std::string name_attribute_type(const AttributeType& type) {
    return type.extents.empty() ? type.name
                                : fmt::format("{} {}", type.name, describe_extents(type.extents));
}

std::optional<HeldAttribute> find_attribute(Hdf5Tree& tree, ObjectId object,
                                            const std::string& name) {
    auto type = tree.attribute_type(object, name);
    if (!type) {
        return std::nullopt;
    }
    HeldAttribute held{std::move(*type), std::nullopt};
    try {
        held.value = tree.read_attribute(object, name);
    } catch (const StorageError&) {
        throw;
    } catch (const TreeError&) { // of a type that cannot be read
    }
    return held;
}

std::vector<std::string> choose_owners(Hdf5Tree& tree, const std::string& pattern,
                                       const std::string& source) {
    const auto object = tree.find(tree.root(), pattern);
    if (object && tree.kind(*object) == ObjectKind::Group) {
        return {tree.path(*object)};
    }
    return choose_sets(tree, pattern, source);
}

std::vector<AttributeChange> edit_attributes(Hdf5Tree& tree, std::span<const std::string> paths,
                                             const AttributeEdit& edit, const std::string& source) {
    const Editor editor(tree, source);
    std::vector<AttributeChange> changes;
    std::set<std::string> removed;
    for (const std::string& path : paths) {
        for (const std::string& name : edit.removed) {
            if (auto change = editor.remove(path, name)) {
                removed.insert(name);
                changes.push_back(std::move(*change));
            }
        }
        for (const AttributeWord& word : edit.words) {
            changes.push_back(editor.set(path, word));
        }
    }
    for (const std::string& name : edit.removed) {
        if (!removed.contains(name)) {
            std::vector<ObjectId> objects;
            std::ranges::transform(paths, std::back_inserter(objects),
                                   [&](const std::string& path) { return editor.find(path); });
            throw explain_missing(tree, objects, name, source);
        }
    }
    return changes;
}

void compare_attributes(Hdf5Tree& tree, std::span<const AttributeChange> changes) {
    for (const AttributeChange& change : changes) {
        const auto object = tree.find(tree.root(), change.path);
        if (!object || !is_same(find_attribute(tree, *object, change.name), change.after)) {
            throw TreeError(fmt::format("the attribute '{}' of '{}' reads back otherwise than it "
                                        "was set",
                                        change.name, name_owner(change.path)));
        }
    }
}

} // namespace talvora::host
