// What was written to the data sets of a file, to be compared with what it holds once it was
// closed and opened again.
#pragma once

#include "host/hdf5/hdf5_tree.h"
#include "host/system/content_hash.h"
#include "host/tree/forwarding_tree.h"

#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace talvora::host {

struct WrittenSet {
    std::string path;
    Extents extents;
    ContentMark mark; // of the samples, row-major
};

// A tree that passes every request on and notes which sets are made, resized and written.
//
// What is written to a set as a whole is marked as it passes. A set that is left written in parts
// is read once more through the tree. Where a set is read as a whole, for a later step, the mark is
// compared: a StorageError of writing tells that it reads back otherwise.
class WrittenTree final : public ForwardingTree {
  public:
    using KeepsEveryBit = std::function<bool(ObjectId set)>;

    // Borrows the tree, which is changed through this one alone. `keeps_every_bit` tells of which
    // of its sets samples can be compared.
    WrittenTree(DataTree& tree, KeepsEveryBit keeps_every_bit)
        : ForwardingTree(tree), keeps_every_bit_(std::move(keeps_every_bit)) {}
    explicit WrittenTree(Hdf5Tree& tree)
        : WrittenTree(tree, [&tree](ObjectId set) { return tree.keeps_every_bit(set); }) {}

    // What those sets hold now.
    std::vector<WrittenSet> list_written();

    ObjectId create_dataset(ObjectId group, std::string_view path, const Extents& extents) override;
    void resize(ObjectId set, const Extents& extents) override;
    void read(ObjectId set, const Hyperslab& slab, std::span<float> samples) override;
    void write(ObjectId set, const Hyperslab& slab, std::span<const float> samples) override;

  private:
    KeepsEveryBit keeps_every_bit_;
    std::map<ObjectId, std::optional<ContentMark>> marks_; // nothing: of what is to be read
};

// Throws a TreeError that names the first set which is not there, has other extents or holds other
// samples. Of a set that does not keep every bit the extents alone are compared.
void compare_written(Hdf5Tree& tree, std::span<const WrittenSet> sets);

} // namespace talvora::host
