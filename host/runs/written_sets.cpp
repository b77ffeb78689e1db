#include "host/runs/written_sets.h"

#include "host/tree/slabs.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <utility>

namespace talvora::host {
namespace {

// Samples of a set that are read at once to be marked: they stay in the second-level cache between
// reading and marking.
constexpr std::uint64_t BUFFER_SAMPLES = std::uint64_t{256} * 1024;

using VisitSamples = std::function<void(std::span<const float> samples)>;

// In row-major order. The buffer is not cleared between the reads, in the same order each time:
// what was never written leaves it as it is, and has the same mark.
void visit_samples(DataTree& tree, ObjectId set, const VisitSamples& visit) {
    std::vector<float> samples;
    visit_slabs(tree.extents(set), BUFFER_SAMPLES, [&](const Hyperslab& slab, std::uint64_t count) {
        samples.resize(count);
        tree.read(set, slab, samples);
        visit(samples);
    });
}

ContentMark mark_samples(DataTree& tree, ObjectId set) {
    ContentMarker mark;
    visit_samples(tree, set,
                  [&](std::span<const float> samples) { mark.add(std::as_bytes(samples)); });
    return mark.finish();
}

ContentMark mark_of(std::span<const float> samples) {
    ContentMarker mark;
    mark.add(std::as_bytes(samples));
    return mark.finish();
}

std::string describe_other_samples(std::string_view path, const std::string& unknown_filter) {
    return fmt::format("'{}' reads back other samples than were written to it{}", path,
                       unknown_filter.empty()
                           ? ""
                           : fmt::format(": {}, which is not known here, may round them (h5repack "
                                         "-f NONE makes a copy without filters)",
                                         unknown_filter));
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
    if (mark_samples(tree, *set) != written.mark) {
        throw TreeError(describe_other_samples(written.path, tree.describe_unknown_filter(*set)));
    }
}

// Each takes some hundred bytes.
constexpr std::size_t MAX_PARTS = std::size_t{64} * 1024;

struct Run {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
};

// Nothing where the samples of a slab do not follow each other in the set: one dimension may be
// cut, before it is one index of each, behind it all.
std::optional<Run> find_run(const Extents& extents, const Hyperslab& slab) {
    Run run;
    std::uint64_t count = 1;
    bool is_inside = false;
    for (std::size_t d = 0; d < extents.size(); ++d) {
        if (is_inside && slab.counts[d] != extents[d]) {
            return std::nullopt;
        }
        is_inside = is_inside || slab.counts[d] != 1;
        run.begin = run.begin * extents[d] + slab.starts[d];
        count *= slab.counts[d];
    }
    run.end = run.begin + count;
    return run;
}

} // namespace

// What is written over a part is none of its samples any more.
void PartMarks::note(const Extents& extents, const Hyperslab& slab, const ContentMark& mark) {
    const auto run = find_run(extents, slab);
    if (!run || parts_.size() == MAX_PARTS) {
        parts_.clear();
    }
    if (!run) {
        return;
    }
    auto part = parts_.lower_bound(run->begin);
    if (part != parts_.begin() && std::prev(part)->second.end > run->begin) {
        --part;
    }
    while (part != parts_.end() && part->first < run->end) {
        part = parts_.erase(part);
    }
    parts_.insert_or_assign(run->begin, Part{run->end, mark});
}

std::optional<ContentMark> PartMarks::of_whole(const Extents& extents) const {
    const auto first = parts_.find(0);
    return first != parts_.end() && first->second.end == count_samples(extents)
               ? std::optional(first->second.mark)
               : std::nullopt;
}

bool PartMarks::differ(const Extents& extents, const Hyperslab& slab,
                       std::span<const float> samples) const {
    const auto run = find_run(extents, slab);
    if (!run) {
        return false;
    }
    for (auto part = parts_.lower_bound(run->begin);
         part != parts_.end() && part->second.end <= run->end; ++part) {
        const auto [begin, written] = *part;
        if (mark_of(samples.subspan(begin - run->begin, written.end - begin)) != written.mark) {
            return true;
        }
    }
    return false;
}

void PartMarks::resize(const Extents& before, const Extents& after) {
    const Parts old = std::exchange(parts_, {});
    if (count_samples(before) == 0 || before.empty() || before.size() != after.size() ||
        !std::equal(before.begin(), before.end() - 1, after.begin())) {
        return;
    }
    for (const auto& [begin, part] : old) {
        const std::uint64_t line = begin / before.back();
        const std::uint64_t first = begin % before.back();
        const std::uint64_t count = part.end - begin;
        if (first + count <= std::min(before.back(), after.back())) {
            const std::uint64_t moved = line * after.back() + first;
            parts_.emplace(moved, Part{moved + count, part.mark});
        }
    }
}

namespace {

// Marks parts of a set again, as its samples come in row-major order.
class PartComparison {
  public:
    explicit PartComparison(const PartMarks::Parts& parts)
        : part_(parts.begin()), end_(parts.end()) {}

    void add(std::span<const float> samples) {
        const std::uint64_t end = next_ + samples.size();
        for (; part_ != end_ && part_->first < end; ++part_) {
            const std::uint64_t first = std::max(part_->first, next_);
            const std::uint64_t last = std::min(part_->second.end, end);
            mark_.add(std::as_bytes(samples.subspan(first - next_, last - first)));
            if (last < part_->second.end) {
                break;
            }
            differs_ = differs_ || std::exchange(mark_, {}).finish() != part_->second.mark;
        }
        next_ = end;
    }

    bool differs() const { return differs_; }

  private:
    PartMarks::Parts::const_iterator part_;
    PartMarks::Parts::const_iterator end_;
    ContentMarker mark_; // of what came of that part
    std::uint64_t next_ = 0;
    bool differs_ = false;
};

} // namespace

void WrittenTree::refuse_other_samples(ObjectId set) const {
    throw StorageError(StorageError::Access::Writing,
                       describe_other_samples(tree_.path(set), describe_unknown_filter_(set)));
}

ContentMark WrittenTree::mark_parts(ObjectId set, const PartMarks& marks) {
    ContentMarker mark;
    PartComparison parts(marks.parts());
    try {
        visit_samples(tree_, set, [&](std::span<const float> samples) {
            mark.add(std::as_bytes(samples));
            parts.add(samples);
        });
    } catch (const StorageError& error) {
        throw StorageError(StorageError::Access::Writing, error.what());
    }
    if (parts.differs()) {
        refuse_other_samples(set);
    }
    return mark.finish();
}

std::vector<WrittenSet> WrittenTree::list_written() {
    std::vector<WrittenSet> sets;
    for (auto& [set, marks] : marks_) {
        const Extents extents = tree_.extents(set);
        auto mark = marks.of_whole(extents);
        if (!mark) {
            mark = mark_parts(set, marks);
            marks.note(extents, {Extents(extents.size(), 0), extents}, *mark);
        }
        sets.push_back({tree_.path(set), extents, *mark});
    }
    return sets;
}

ObjectId WrittenTree::create_dataset(ObjectId group, std::string_view path,
                                     const Extents& extents) {
    const ObjectId set = tree_.create_dataset(group, path, extents);
    marks_[set] = {};
    return set;
}

void WrittenTree::resize(ObjectId set, const Extents& extents) {
    const Extents before = tree_.extents(set);
    PartMarks& marks = marks_[set];
    tree_.resize(set, extents);
    marks.resize(before, extents);
}

void WrittenTree::read(ObjectId set, const Hyperslab& slab, std::span<float> samples) {
    tree_.read(set, slab, samples);
    const auto written = marks_.find(set);
    if (written != marks_.end() && written->second.differ(tree_.extents(set), slab, samples)) {
        refuse_other_samples(set);
    }
}

void WrittenTree::write(ObjectId set, const Hyperslab& slab, std::span<const float> samples) {
    PartMarks& marks = marks_[set];
    const Extents extents = tree_.extents(set);
    try {
        tree_.write(set, slab, samples);
    } catch (...) { // it may hold a part of them
        marks = {};
        throw;
    }
    marks.note(extents, slab, mark_of(samples));
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
