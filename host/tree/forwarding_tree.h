// A tree that passes every request on to another one, for those that do so with most. It is a tree
// of 32-bit floats: as what its samples are stored is known to the one that stores them.
#pragma once

#include "host/tree/data_tree.h"

#include <optional>
#include <string>
#include <vector>

namespace talvora::host {

class ForwardingTree : public DataTree {
  public:
    // Borrows the tree.
    explicit ForwardingTree(DataTree& tree) : tree_(tree) {}

    ObjectId root() const override { return tree_.root(); }
    std::optional<ObjectId> find(ObjectId group, std::string_view path) override {
        return tree_.find(group, path);
    }
    ObjectKind kind(ObjectId object) const override { return tree_.kind(object); }
    std::string path(ObjectId object) const override { return tree_.path(object); }

    std::vector<std::string> list_groups(ObjectId group) override {
        return tree_.list_groups(group);
    }
    std::vector<std::string> list_datasets(ObjectId group) override {
        return tree_.list_datasets(group);
    }
    std::vector<OtherObject> list_others(ObjectId group) override {
        return tree_.list_others(group);
    }

    ObjectId create_group(ObjectId parent, std::string_view path) override {
        return tree_.create_group(parent, path);
    }
    ObjectId create_dataset(ObjectId group, std::string_view path,
                            const Extents& extents) override {
        return tree_.create_dataset(group, path, extents);
    }

    Extents extents(ObjectId set) const override { return tree_.extents(set); }
    void resize(ObjectId set, const Extents& extents) override { tree_.resize(set, extents); }
    void read(ObjectId set, const Hyperslab& slab, std::span<float> samples) override {
        tree_.read(set, slab, samples);
    }
    void write(ObjectId set, const Hyperslab& slab, std::span<const float> samples) override {
        tree_.write(set, slab, samples);
    }

    std::vector<std::string> list_attributes(ObjectId object) override {
        return tree_.list_attributes(object);
    }
    std::optional<AttributeValue> read_attribute(ObjectId object,
                                                 const std::string& name) override {
        return tree_.read_attribute(object, name);
    }
    void write_attribute(ObjectId object, const std::string& name,
                         const AttributeValue& value) override {
        tree_.write_attribute(object, name, value);
    }

  protected:
    DataTree& tree_;
};

} // namespace talvora::host
