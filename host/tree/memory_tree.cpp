#include "host/tree/memory_tree.h"

#include "host/text/path_glob.h"
#include "host/tree/hyperslab_copy.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <new>
#include <utility>

namespace talvora::host {

namespace {

constexpr ObjectId ROOT{1};

std::vector<float> make_samples(const Extents& extents) {
    try {
        return std::vector<float>(count_samples(extents));
    } catch (const std::exception&) {
        throw TreeError(
            fmt::format("there is no memory for the extents {}", describe_extents(extents)));
    }
}

std::vector<float> move_samples(std::span<const float> samples, const Extents& old_extents,
                                const Extents& extents) {
    const Extents starts(extents.size(), 0);
    const Extents counts = smaller_of(old_extents, extents);
    std::vector<float> kept = make_samples(counts);
    gather_samples(old_extents, {starts, counts}, samples.data(), kept);
    if (counts == extents) {
        return kept;
    }
    std::vector<float> moved = make_samples(extents);
    scatter_samples(extents, {starts, counts}, kept, moved.data());
    return moved;
}

} // namespace

MemoryTree::MemoryTree() {
    nodes_.push_back(std::make_unique<Node>());
}

std::unique_ptr<MemoryTree> MemoryTree::copy() const {
    auto tree = std::make_unique<MemoryTree>();
    tree->nodes_.clear();
    for (const auto& node : nodes_) {
        tree->nodes_.push_back(std::make_unique<Node>(*node));
    }
    return tree;
}

ObjectId MemoryTree::root() const {
    return ROOT;
}

std::optional<ObjectId> MemoryTree::find(ObjectId group, std::string_view path) {
    node(group, ObjectKind::Group);
    ObjectId found = group;
    for (const std::string& name : split_names(path)) {
        const auto& children = node(found).children;
        const auto child = children.find(name);
        if (child == children.end()) {
            return std::nullopt;
        }
        found = child->second;
    }
    return found;
}

ObjectKind MemoryTree::kind(ObjectId object) const {
    return node(object).kind;
}

std::string MemoryTree::path(ObjectId object) const {
    return node(object).path;
}

std::vector<std::string> MemoryTree::list_groups(ObjectId group) {
    return list_children(group, ObjectKind::Group);
}

std::vector<std::string> MemoryTree::list_datasets(ObjectId group) {
    return list_children(group, ObjectKind::DataSet);
}

std::vector<OtherObject> MemoryTree::list_others(ObjectId group) {
    node(group, ObjectKind::Group);
    return {};
}

ObjectId MemoryTree::create_group(ObjectId parent, std::string_view path) {
    return create(parent, path, Node{});
}

ObjectId MemoryTree::create_dataset(ObjectId group, std::string_view path, const Extents& extents) {
    check_extents(extents, 0, path);
    return add_dataset(group, path, extents, SharedSamples(make_samples(extents)));
}

ObjectId MemoryTree::add_dataset(ObjectId group, std::string_view path, const Extents& extents,
                                 SharedSamples samples) {
    check_extents(extents, 0, path);
    if (samples.view().size() != count_samples(extents)) {
        throw TreeError(fmt::format("'{}': {} samples were given for the extents {}", path,
                                    samples.view().size(), describe_extents(extents)));
    }
    Node set;
    set.kind = ObjectKind::DataSet;
    set.extents = extents;
    set.samples = std::move(samples);
    return create(group, path, std::move(set));
}

std::span<const float> MemoryTree::samples(ObjectId set) const {
    return node(set, ObjectKind::DataSet).samples.view();
}

Extents MemoryTree::extents(ObjectId set) const {
    return node(set, ObjectKind::DataSet).extents;
}

void MemoryTree::resize(ObjectId id, const Extents& extents) {
    Node& set = node(id, ObjectKind::DataSet);
    check_resize(set.extents, extents, set.path);
    if (extents == set.extents) {
        return;
    }
    set.samples = SharedSamples(move_samples(set.samples.view(), set.extents, extents));
    set.extents = extents;
}

void MemoryTree::read(ObjectId id, const Hyperslab& slab, std::span<float> samples) {
    const Node& set = node(id, ObjectKind::DataSet);
    check_hyperslab(set.extents, slab, samples.size(), set.path);
    gather_samples(set.extents, slab, set.samples.view().data(), samples);
}

void MemoryTree::write(ObjectId id, const Hyperslab& slab, std::span<const float> samples) {
    Node& set = node(id, ObjectKind::DataSet);
    check_hyperslab(set.extents, slab, samples.size(), set.path);
    if (is_whole(slab, set.extents) && !set.samples.is_own()) {
        // What is overwritten need not be copied before.
        set.samples = SharedSamples(std::vector<float>(samples.begin(), samples.end()));
        return;
    }
    scatter_samples(set.extents, slab, samples, set.samples.change().data());
}

std::vector<std::string> MemoryTree::list_attributes(ObjectId object) {
    const auto& attributes = node(object).attributes;
    std::vector<std::string> names;
    names.reserve(attributes.size());
    for (const auto& [name, value] : attributes) {
        names.push_back(name);
    }
    return names;
}

std::optional<AttributeValue> MemoryTree::read_attribute(ObjectId object, const std::string& name) {
    const auto& attributes = node(object).attributes;
    const auto found = attributes.find(name);
    return found == attributes.end() ? std::nullopt : std::optional(found->second);
}

void MemoryTree::write_attribute(ObjectId object, const std::string& name,
                                 const AttributeValue& value) {
    check_attribute(name, value);
    node(object).attributes.insert_or_assign(name, value);
}

const MemoryTree::Node& MemoryTree::node(ObjectId id) const {
    const std::uint64_t index = static_cast<std::uint64_t>(id) - 1;
    if (index >= nodes_.size()) {
        throw TreeError(
            fmt::format("{} is no object of this tree", static_cast<std::uint64_t>(id)));
    }
    return *nodes_[index];
}

MemoryTree::Node& MemoryTree::node(ObjectId id) {
    return const_cast<Node&>(std::as_const(*this).node(id));
}

const MemoryTree::Node& MemoryTree::node(ObjectId id, ObjectKind kind) const {
    const Node& found = node(id);
    if (found.kind != kind) {
        throw TreeError(fmt::format("'{}' is no {}", found.path,
                                    kind == ObjectKind::Group ? "group" : "data set"));
    }
    return found;
}

MemoryTree::Node& MemoryTree::node(ObjectId id, ObjectKind kind) {
    return const_cast<Node&>(std::as_const(*this).node(id, kind));
}

std::vector<std::string> MemoryTree::list_children(ObjectId group, ObjectKind kind) {
    std::vector<std::string> names;
    for (const auto& [name, child] : node(group, ObjectKind::Group).children) {
        if (node(child).kind == kind) {
            names.push_back(name);
        }
    }
    return names;
}

ObjectId MemoryTree::create(ObjectId parent, std::string_view path, Node new_node) {
    node(parent, ObjectKind::Group);
    NewPlace place = plan_new_place(*this, parent, path);
    for (const std::string& name : place.missing_groups) {
        place.group = add_child(place.group, name, Node{});
    }
    return add_child(place.group, place.name, std::move(new_node));
}

ObjectId MemoryTree::add_child(ObjectId group, const std::string& name, Node new_node) {
    const ObjectId id{nodes_.size() + 1};
    new_node.path = join_path(node(group).path, name);
    nodes_.push_back(std::make_unique<Node>(std::move(new_node)));
    node(group).children.emplace(name, id);
    return id;
}

} // namespace talvora::host
