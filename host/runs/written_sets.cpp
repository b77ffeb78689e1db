#include "host/runs/written_sets.h"

#include "host/tree/slabs.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

namespace talvora::host {
namespace {

// Samples of a set that are read at once to be marked: they stay in the second-level cache between
// reading and marking.
constexpr std::uint64_t BUFFER_SAMPLES = std::uint64_t{256} * 1024;

// The buffer is not cleared between the reads, in the same order each time: what was never written
// leaves it as it is, and has the same mark.
ContentMark mark_samples(DataTree& tree, ObjectId set) {
    ContentMarker mark;
    std::vector<float> samples;
    visit_slabs(tree.extents(set), BUFFER_SAMPLES, [&](const Hyperslab& slab, std::uint64_t count) {
        samples.resize(count);
        tree.read(set, slab, samples);
        mark.add(std::as_bytes(std::span(samples)));
    });
    return mark.finish();
}

ContentMark mark_of(std::span<const float> samples) {
    ContentMarker mark;
    mark.add(std::as_bytes(samples));
    return mark.finish();
}

std::string describe_other_samples(std::string_view path) {
    return fmt::format("'{}' reads back other samples than were written to it", path);
}

void compare_set(Hdf5Tree& tree, const WrittenSet& written) {
    const auto set = tree.find(tree.root(), written.path);
    if (!set || tree.kind(*set) != ObjectKind::DataSet) {
        throw TreeError(fmt::format("'{}' was written and cannot be found again", written.path));
    }
    if (const Extents extents = tree.extents(*set); extents != written.extents) {
        throw TreeError(fmt::format("'{}' was written as {} and reads back as {}", written.path,
                                    describe_extents(written.extents), describe_extents(extents)));
    }
    if (mark_samples(tree, *set) != written.mark && tree.keeps_every_bit(*set)) {
        throw TreeError(describe_other_samples(written.path));
    }
}

} // namespace

std::vector<WrittenSet> WrittenTree::list_written() {
    std::vector<WrittenSet> sets;
    for (auto& [set, mark] : marks_) {
        if (!mark) {
            mark = mark_samples(tree_, set);
        }
        sets.push_back({tree_.path(set), tree_.extents(set), *mark});
    }
    return sets;
}

ObjectId WrittenTree::create_dataset(ObjectId group, std::string_view path,
                                     const Extents& extents) {
    const ObjectId set = tree_.create_dataset(group, path, extents);
    marks_[set].reset();
    return set;
}

void WrittenTree::resize(ObjectId set, const Extents& extents) {
    marks_[set].reset();
    tree_.resize(set, extents);
}

void WrittenTree::read(ObjectId set, const Hyperslab& slab, std::span<float> samples) {
    tree_.read(set, slab, samples);
    const auto written = marks_.find(set);
    if (written != marks_.end() && written->second && is_whole(slab, tree_.extents(set)) &&
        mark_of(samples) != *written->second && keeps_every_bit_(set)) {
        throw StorageError(StorageError::Access::Writing, describe_other_samples(tree_.path(set)));
    }
}

void WrittenTree::write(ObjectId set, const Hyperslab& slab, std::span<const float> samples) {
    auto& mark = marks_[set];
    mark.reset();
    tree_.write(set, slab, samples);
    if (is_whole(slab, tree_.extents(set))) {
        mark = mark_of(samples);
    }
}

// What cannot be read of what was just written is no fault of the input.
void compare_written(Hdf5Tree& tree, std::span<const WrittenSet> sets) {
    try {
        for (const WrittenSet& written : sets) {
            compare_set(tree, written);
        }
    } catch (const StorageError& error) {
        throw TreeError(error.what());
    }
}

} // namespace talvora::host
