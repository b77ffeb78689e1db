// A tree in memory that notes which requests reach it and can refuse to write.
#pragma once

#include "host/tree/forwarding_tree.h"
#include "host/tree/memory_tree.h"

#include <string>
#include <vector>

namespace talvora::host {

struct OwnedMemoryTree {
    MemoryTree memory;
};

class RequestRecorder final : private OwnedMemoryTree, public ForwardingTree {
  public:
    RequestRecorder() : ForwardingTree(memory) {}

    void read(ObjectId set, const Hyperslab& slab, std::span<float> samples) override {
        note("read " + path(set), samples.size());
        ForwardingTree::read(set, slab, samples);
    }
    void write(ObjectId set, const Hyperslab& slab, std::span<const float> samples) override {
        note("write " + path(set), samples.size());
        check_room(path(set));
        ForwardingTree::write(set, slab, samples);
    }
    void resize(ObjectId set, const Extents& extents) override {
        note("resize " + path(set), extents.at(0));
        ForwardingTree::resize(set, extents);
    }
    std::vector<std::string> list_attributes(ObjectId object) override {
        requests.push_back("list");
        return ForwardingTree::list_attributes(object);
    }
    std::optional<AttributeValue> read_attribute(ObjectId object,
                                                 const std::string& name) override {
        requests.push_back("get " + name);
        return ForwardingTree::read_attribute(object, name);
    }
    void write_attribute(ObjectId object, const std::string& name,
                         const AttributeValue& value) override {
        requests.push_back("set " + name);
        check_room(name);
        ForwardingTree::write_attribute(object, name, value);
    }

    std::vector<std::string> requests;
    std::string without_room; // the set or attribute that cannot be written

  private:
    void note(const std::string& request, std::uint64_t count) {
        requests.push_back(request + " " + std::to_string(count));
    }
    void check_room(const std::string& name) const {
        if (name == without_room) {
            throw TreeError("no room for " + name);
        }
    }
};

} // namespace talvora::host
