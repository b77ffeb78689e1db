// A tree that lets a chosen operation fail, counts the operations, and whose handles are
// good for one call alone.
#pragma once

#include "host/tree/data_tree.h"

#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace talvora::host {

enum class TreeOperation {
    Find,
    Kind,
    ListGroups,
    ListDatasets,
    CreateGroup,
    CreateDataset,
    TellExtents,
    Resize,
    Read,
    Write,
    ListAttributes,
    ReadAttribute,
    WriteAttribute
};
constexpr std::size_t TREE_OPERATION_COUNT = 13;

// "find", "list data sets"
const char* name_of(TreeOperation operation);
// Whether the operation can give nothing, or an empty list, without failing.
bool can_give_nothing(TreeOperation operation);

struct Injection {
    enum Mode { Refuse, GiveNothing };

    TreeOperation operation = TreeOperation::Find;
    std::size_t nth = 1; // counted from 1; 0 means every time
    Mode mode = Refuse;
};

std::string describe(const Injection& injection);

class InjectingTree final : public DataTree {
  public:
    // The inner tree is borrowed.
    explicit InjectingTree(DataTree& inner, std::optional<Injection> injection = {});

    std::size_t count(TreeOperation operation) const {
        return counts_[static_cast<std::size_t>(operation)];
    }
    // The slots in which handles were used that another tree gave.
    const std::set<std::string>& slots_of_foreign_handles() const { return foreign_slots_; }

    ObjectId root() const override;
    std::optional<ObjectId> find(ObjectId group, std::string_view path) override;
    ObjectKind kind(ObjectId object) const override;
    std::string path(ObjectId object) const override;
    std::vector<std::string> list_groups(ObjectId group) override;
    std::vector<std::string> list_datasets(ObjectId group) override;
    std::vector<OtherObject> list_others(ObjectId group) override;
    ObjectId create_group(ObjectId parent, std::string_view path) override;
    ObjectId create_dataset(ObjectId group, std::string_view path, const Extents& extents) override;
    Extents extents(ObjectId set) const override;
    void resize(ObjectId set, const Extents& extents) override;
    void read(ObjectId set, const Hyperslab& slab, std::span<float> samples) override;
    void write(ObjectId set, const Hyperslab& slab, std::span<const float> samples) override;
    std::vector<std::string> list_attributes(ObjectId object) override;
    std::optional<AttributeValue> read_attribute(ObjectId object, const std::string& name) override;
    void write_attribute(ObjectId object, const std::string& name,
                         const AttributeValue& value) override;

  private:
    // Counts the operation. True when it is to give nothing; throws when it is to fail.
    bool strike(TreeOperation operation) const;
    ObjectId outward(ObjectId inner) const;
    ObjectId inward(ObjectId object) const;

    DataTree& inner_;
    std::optional<Injection> injection_;
    std::uint64_t tag_; // the upper half of this tree's handles
    mutable std::array<std::size_t, TREE_OPERATION_COUNT> counts_{};
    mutable std::set<std::string> foreign_slots_;
};

} // namespace talvora::host
