// A tree whose sets in work are kept in memory, so that a unit which goes through a set
// line by line does not pay for an access to the file with each line.
//
// A request for a part of a set takes the whole of it into memory, where it fits the
// bound; later requests are copies. What was changed is written back as a whole when
// room is needed for another set, before the set is made larger, and by flush. Requests for
// a whole set that is not in memory go straight through, and so do those for a set larger
// than the bound. A set that is made smaller stays, and what is left of it is written later.
// Attributes are written at once (attribute_cache.h).
//
// Two sets that share their samples, as a virtual set and what it is made of, are two
// sets here: a change of one shows in the other after a flush.
#pragma once

#include "host/tree/attribute_cache.h"
#include "host/tree/forwarding_tree.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace talvora::host {

class CachedTree final : public ForwardingTree {
  public:
    // Sets in memory come to this much at most, in bytes.
    static constexpr std::uint64_t DEFAULT_BOUND = std::uint64_t{192} << 20U;

    // Borrows the tree, which nobody else may use until flush.
    explicit CachedTree(DataTree& tree, std::uint64_t bound = DEFAULT_BOUND)
        : ForwardingTree(tree), attributes_(tree), bound_(bound) {}
    // Drops what was not flushed.
    ~CachedTree() override = default;

    // Writes back what was changed and lets go of the memory. A set that cannot be
    // written stays, and is tried again by the next call; the first TreeError is thrown
    // after every set was tried.
    void flush();

    void resize(ObjectId id, const Extents& extents) override;
    // Both may throw for another set, which could not be written back to make room:
    // that one is not lost.
    void read(ObjectId id, const Hyperslab& slab, std::span<float> samples) override;
    void write(ObjectId id, const Hyperslab& slab, std::span<const float> samples) override;

    std::vector<std::string> list_attributes(ObjectId object) override;
    std::optional<AttributeValue> read_attribute(ObjectId object, const std::string& name) override;
    void write_attribute(ObjectId object, const std::string& name,
                         const AttributeValue& value) override;

  private:
    struct HeldSet {
        ObjectId id{};
        std::string path;
        Extents extents;
        std::vector<float> samples;
        bool changed = false;
        std::uint64_t last_use = 0;
    };
    using Held = std::vector<HeldSet>::iterator;

    HeldSet* hold(ObjectId id, const Hyperslab& slab);
    bool is_worth_holding(ObjectId id, const Extents& extents, const Hyperslab& slab);
    Held load(ObjectId id, const Extents& extents);
    void make_room(std::uint64_t sample_count);
    void let_go(Held set);
    void write_back(HeldSet& set);
    void shrink(HeldSet& set, const Extents& extents);
    Held find_held(ObjectId id);
    std::uint64_t count_held_samples() const;

    AttributeCache attributes_;
    std::uint64_t bound_;
    std::vector<HeldSet> held_;
    std::uint64_t use_count_ = 0;
    // Samples asked for of each set since it had to make room for another.
    std::map<ObjectId, std::uint64_t> asked_since_let_go_;
};

} // namespace talvora::host
