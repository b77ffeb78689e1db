#include "host/tree/hinted_tree.h"

#include "host/tree/number_attribute.h"

#include <fmt/format.h>

#include <limits>

namespace talvora::host {
namespace {

// Trees number their objects from 1 on.
constexpr ObjectId HINT{std::numeric_limits<std::uint64_t>::max()};

[[noreturn]] void refuse_change() {
    throw TreeError(fmt::format("the group '{}' cannot be changed", RATE_HINT_NAME));
}

} // namespace

std::optional<ObjectId> HintedTree::find(ObjectId group, std::string_view path) {
    if (group == HINT) {
        return path.empty() ? std::optional(HINT) : std::nullopt;
    }
    return group == tree_.root() && path == RATE_HINT_NAME ? std::optional(HINT)
                                                           : tree_.find(group, path);
}

ObjectKind HintedTree::kind(ObjectId object) const {
    return object == HINT ? ObjectKind::Group : tree_.kind(object);
}

std::string HintedTree::path(ObjectId object) const {
    return object == HINT ? RATE_HINT_NAME : tree_.path(object);
}

std::vector<std::string> HintedTree::list_groups(ObjectId group) {
    return group == HINT ? std::vector<std::string>() : tree_.list_groups(group);
}

std::vector<std::string> HintedTree::list_datasets(ObjectId group) {
    return group == HINT ? std::vector<std::string>() : tree_.list_datasets(group);
}

std::vector<OtherObject> HintedTree::list_others(ObjectId group) {
    return group == HINT ? std::vector<OtherObject>() : tree_.list_others(group);
}

ObjectId HintedTree::create_group(ObjectId parent, std::string_view path) {
    if (parent == HINT) {
        refuse_change();
    }
    return tree_.create_group(parent, path);
}

ObjectId HintedTree::create_dataset(ObjectId group, std::string_view path, const Extents& extents) {
    if (group == HINT) {
        refuse_change();
    }
    return tree_.create_dataset(group, path, extents);
}

std::vector<std::string> HintedTree::list_attributes(ObjectId object) {
    return object == HINT ? std::vector<std::string>{SAMPLE_RATE_ATTRIBUTE}
                          : tree_.list_attributes(object);
}

std::optional<AttributeValue> HintedTree::read_attribute(ObjectId object, const std::string& name) {
    if (object != HINT) {
        return tree_.read_attribute(object, name);
    }
    return name == SAMPLE_RATE_ATTRIBUTE ? std::optional(AttributeValue(rate_)) : std::nullopt;
}

void HintedTree::write_attribute(ObjectId object, const std::string& name,
                                 const AttributeValue& value) {
    if (object == HINT) {
        refuse_change();
    }
    tree_.write_attribute(object, name, value);
}

} // namespace talvora::host
