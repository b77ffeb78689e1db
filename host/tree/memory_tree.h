// A tree kept in memory, for work without a file, tests and benchmarks.
#pragma once

#include "host/tree/data_tree.h"
#include "host/tree/shared_samples.h"

#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace talvora::host {

// Holds ranks 0 to 32. Reading and writing samples finds the set by its id and allocates nothing,
// but for the first change of samples that are shared (shared_samples.h); a contiguous hyperslab
// costs one memcpy.
class MemoryTree : public DataTree {
  public:
    MemoryTree();

    // Another tree of the same objects, with the same ids. Their samples are shared, which costs
    // nothing until one of both is changed.
    std::unique_ptr<MemoryTree> copy() const;
    // As create_dataset, with samples that are there already: as many as the extents hold.
    ObjectId add_dataset(ObjectId group, std::string_view path, const Extents& extents,
                         SharedSamples samples);
    // Those of a set, row-major; good until the tree is changed.
    std::span<const float> samples(ObjectId set) const;

    ObjectId root() const override;
    std::optional<ObjectId> find(ObjectId group, std::string_view path) override;
    ObjectKind kind(ObjectId object) const override;
    std::string path(ObjectId object) const override;

    std::vector<std::string> list_groups(ObjectId group) override;
    std::vector<std::string> list_datasets(ObjectId group) override;
    std::vector<OtherObject> list_others(ObjectId group) override; // always empty

    ObjectId create_group(ObjectId parent, std::string_view path) override;
    ObjectId create_dataset(ObjectId group, std::string_view path, const Extents& extents) override;

    Extents extents(ObjectId set) const override;
    void resize(ObjectId id, const Extents& extents) override;
    void read(ObjectId id, const Hyperslab& slab, std::span<float> samples) override;
    void write(ObjectId id, const Hyperslab& slab, std::span<const float> samples) override;

    std::vector<std::string> list_attributes(ObjectId object) override;
    std::optional<AttributeValue> read_attribute(ObjectId object, const std::string& name) override;
    void write_attribute(ObjectId object, const std::string& name,
                         const AttributeValue& value) override;

  private:
    struct Node {
        ObjectKind kind = ObjectKind::Group;
        std::string path;
        std::map<std::string, ObjectId, std::less<>> children;
        std::map<std::string, AttributeValue> attributes;
        Extents extents;
        SharedSamples samples;
    };

    const Node& node(ObjectId id) const;
    Node& node(ObjectId id);
    Node& node(ObjectId id, ObjectKind kind);
    const Node& node(ObjectId id, ObjectKind kind) const;
    std::vector<std::string> list_children(ObjectId group, ObjectKind kind);
    ObjectId create(ObjectId parent, std::string_view path, Node new_node);
    ObjectId add_child(ObjectId group, const std::string& name, Node new_node);

    // The object with the id n stands at n - 1 and keeps its place while others come. It
    // is looked up several times for each line that a unit works on.
    std::vector<std::unique_ptr<Node>> nodes_;
};

} // namespace talvora::host
