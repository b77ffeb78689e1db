// A tree that asks its caller whether the work is to stop, each time that samples are read or
// written.
#pragma once

#include "host/tree/forwarding_tree.h"
#include "library/talvora/talvora.h"

namespace talvora::library {

// Once the caller has said so, every such request is refused with a TreeError. No unit can be
// broken off: one that goes on nevertheless finds nothing but missing samples, on which there is
// little to be done.
class StoppingTree final : public host::ForwardingTree {
  public:
    // Borrows the tree; `should_stop` may be NULL.
    StoppingTree(host::DataTree& tree, talvora_should_stop should_stop, void* context)
        : ForwardingTree(tree), should_stop_(should_stop), context_(context) {}

    bool has_stopped() const { return has_stopped_; }

    void read(host::ObjectId set, const host::Hyperslab& slab, std::span<float> samples) override;
    void write(host::ObjectId set, const host::Hyperslab& slab,
               std::span<const float> samples) override;

  private:
    void ask();

    talvora_should_stop should_stop_;
    void* context_;
    bool has_stopped_ = false;
};

} // namespace talvora::library
