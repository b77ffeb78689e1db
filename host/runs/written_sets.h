// What was written to the data sets of a file, to be compared with what it holds once it was
// closed and opened again.
#pragma once

#include "host/hdf5/hdf5_tree.h"
#include "host/system/content_hash.h"
#include "host/tree/forwarding_tree.h"

#include <cstdint>
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

// Marks of parts of a set, each of samples that follow each other in row-major order, as they were
// written last; where these become too many, all are forgotten.
class PartMarks {
  public:
    void note(const Extents& extents, const Hyperslab& slab, const ContentMark& mark);
    // Nothing where the set was not written as a whole last.
    std::optional<ContentMark> of_whole(const Extents& extents) const;
    // True where a part inside the slab was written with other samples.
    bool differ(const Extents& extents, const Hyperslab& slab,
                std::span<const float> samples) const;
    // Keeps what lies within a line where only the length of lines changes, and no other parts.
    void resize(const Extents& before, const Extents& after);

    struct Part {
        std::uint64_t end = 0;
        ContentMark mark;
    };
    using Parts = std::map<std::uint64_t, Part>; // by their first sample; none overlaps another
    const Parts& parts() const { return parts_; }

  private:
    Parts parts_;
};

// A tree that passes every request on and notes which sets are made, resized and written.
//
// What is written to a set is marked as it passes, as a whole or in its parts. A set that is left
// written in parts is read once more through the tree. Where that, or a later step, reads what was
// written so, the marks are compared: a StorageError of writing tells that it reads back otherwise.
class WrittenTree final : public ForwardingTree {
  public:
    using DescribeFilter = std::function<std::string(ObjectId set)>;

    // Borrows the tree, which is changed through this one alone. `describe_unknown_filter` says
    // what may be the reason where a set reads back otherwise, as Hdf5Tree does.
    WrittenTree(DataTree& tree, DescribeFilter describe_unknown_filter)
        : ForwardingTree(tree), describe_unknown_filter_(std::move(describe_unknown_filter)) {}
    explicit WrittenTree(Hdf5Tree& tree)
        : WrittenTree(tree, [&tree](ObjectId set) { return tree.describe_unknown_filter(set); }) {}

    // What those sets hold now. What cannot be read of them is a StorageError of writing.
    std::vector<WrittenSet> list_written();

    ObjectId create_dataset(ObjectId group, std::string_view path, const Extents& extents) override;
    void resize(ObjectId set, const Extents& extents) override;
    void read(ObjectId set, const Hyperslab& slab, std::span<float> samples) override;
    void write(ObjectId set, const Hyperslab& slab, std::span<const float> samples) override;

  private:
    [[noreturn]] void refuse_other_samples(ObjectId set) const;
    ContentMark mark_parts(ObjectId set, const PartMarks& marks);

    DescribeFilter describe_unknown_filter_;
    std::map<ObjectId, PartMarks> marks_;
};

// Throws a TreeError that names the first set which is not there, has other extents or holds other
// samples.
void compare_written(Hdf5Tree& tree, std::span<const WrittenSet> sets);

} // namespace talvora::host
