// A tree that holds one group more than the tree behind it: a hint of a rate, for units that take
// their target rate from a group. It is found by its name alone and listed nowhere; what is written
// to the tree goes to the one behind it, and nothing can be written to the hint.
#pragma once

#include "host/tree/forwarding_tree.h"

#include <optional>
#include <string>
#include <vector>

namespace talvora::host {

// The hint's name in the root. An object of that name in the tree behind is not found.
constexpr char RATE_HINT_NAME[] = ".talvora-rate-hint";

class HintedTree final : public ForwardingTree {
  public:
    // Borrows the tree. The rate, in Hz, is the hint's attribute SampleRate.
    HintedTree(DataTree& tree, float rate) : ForwardingTree(tree), rate_(rate) {}

    std::optional<ObjectId> find(ObjectId group, std::string_view path) override;
    ObjectKind kind(ObjectId object) const override;
    std::string path(ObjectId object) const override;

    std::vector<std::string> list_groups(ObjectId group) override;
    std::vector<std::string> list_datasets(ObjectId group) override;
    std::vector<OtherObject> list_others(ObjectId group) override;

    ObjectId create_group(ObjectId parent, std::string_view path) override;
    ObjectId create_dataset(ObjectId group, std::string_view path, const Extents& extents) override;

    std::vector<std::string> list_attributes(ObjectId object) override;
    std::optional<AttributeValue> read_attribute(ObjectId object, const std::string& name) override;
    void write_attribute(ObjectId object, const std::string& name,
                         const AttributeValue& value) override;

  private:
    float rate_;
};

} // namespace talvora::host
