#include "host/tree/cached_tree.h"

#include "host/tree/hyperslab_copy.h"
#include "host/tree/tree_rules.h"

#include <algorithm>
#include <exception>

namespace talvora::host {

namespace {

// A unit goes through a source and a result or two at a time. More would only fill the
// memory with sets that are done with.
constexpr std::size_t MAX_HELD_SETS = 4;

// Sets that are used in turn and do not fit together would push each other out with every
// request. One that was let go comes back only after so much of it was asked for that
// taking it in costs little beside.
constexpr std::uint64_t PART_BEFORE_RETURN = 8;

} // namespace

void CachedTree::flush() {
    std::exception_ptr failure;
    for (HeldSet& set : held_) {
        try {
            write_back(set);
        } catch (const TreeError&) {
            failure = failure ? failure : std::current_exception();
        }
    }
    std::erase_if(held_, [](const HeldSet& set) { return !set.changed; });
    if (failure) {
        std::rethrow_exception(failure);
    }
}

// ---------------------------------------------------------------------------
// Samples

void CachedTree::read(ObjectId id, const Hyperslab& slab, std::span<float> samples) {
    HeldSet* const set = hold(id, slab);
    if (set == nullptr) {
        return tree_.read(id, slab, samples);
    }
    check_hyperslab(set->extents, slab, samples.size(), set->path);
    gather_samples(set->extents, slab, set->samples.data(), samples);
}

void CachedTree::write(ObjectId id, const Hyperslab& slab, std::span<const float> samples) {
    HeldSet* const set = hold(id, slab);
    if (set == nullptr) {
        return tree_.write(id, slab, samples);
    }
    check_hyperslab(set->extents, slab, samples.size(), set->path);
    scatter_samples(set->extents, slab, samples, set->samples.data());
    set->changed = true;
}

void CachedTree::resize(ObjectId id, const Extents& extents) {
    const Held set = find_held(id);
    if (set == held_.end()) {
        return tree_.resize(id, extents);
    }
    if (smaller_of(extents, set->extents) == extents) {
        return shrink(*set, extents);
    }
    write_back(*set);
    held_.erase(set);
    tree_.resize(id, extents);
}

void CachedTree::shrink(HeldSet& set, const Extents& extents) {
    tree_.resize(set.id, extents);
    std::vector<float> left(count_samples(extents));
    gather_samples(set.extents, {Extents(extents.size(), 0), extents}, set.samples.data(), left);
    set.samples = std::move(left);
    set.extents = extents;
    set.changed = true;
}

// The set in memory; null when the request is to go through.
CachedTree::HeldSet* CachedTree::hold(ObjectId id, const Hyperslab& slab) {
    Held set = find_held(id);
    if (set == held_.end()) {
        const Extents extents = tree_.extents(id);
        if (!is_worth_holding(id, extents, slab)) {
            return nullptr;
        }
        set = load(id, extents);
    }
    set->last_use = ++use_count_;
    return &*set;
}

bool CachedTree::is_worth_holding(ObjectId id, const Extents& extents, const Hyperslab& slab) {
    const std::uint64_t sample_count = count_samples(extents);
    if (is_whole(slab, extents) || sample_count > bound_ / sizeof(float)) {
        return false;
    }
    const auto let_go = asked_since_let_go_.find(id);
    if (let_go == asked_since_let_go_.end()) {
        return true;
    }
    let_go->second += count_samples(slab.counts);
    return let_go->second >= sample_count / PART_BEFORE_RETURN;
}

CachedTree::Held CachedTree::load(ObjectId id, const Extents& extents) {
    make_room(count_samples(extents));
    HeldSet set;
    set.id = id;
    set.path = tree_.path(id);
    set.extents = extents;
    set.samples.resize(count_samples(extents));
    tree_.read(id, {Extents(extents.size(), 0), extents}, set.samples);
    return held_.insert(held_.end(), std::move(set));
}

void CachedTree::make_room(std::uint64_t sample_count) {
    while (!held_.empty() && (held_.size() >= MAX_HELD_SETS ||
                              count_held_samples() + sample_count > bound_ / sizeof(float))) {
        let_go(std::ranges::min_element(held_, {}, &HeldSet::last_use));
    }
}

void CachedTree::let_go(Held set) {
    write_back(*set);
    asked_since_let_go_[set->id] = 0;
    held_.erase(set);
}

void CachedTree::write_back(HeldSet& set) {
    if (set.changed) {
        tree_.write(set.id, {Extents(set.extents.size(), 0), set.extents}, set.samples);
    }
    set.changed = false;
}

CachedTree::Held CachedTree::find_held(ObjectId id) {
    return std::ranges::find(held_, id, &HeldSet::id);
}

std::uint64_t CachedTree::count_held_samples() const {
    std::uint64_t count = 0;
    for (const HeldSet& set : held_) {
        count += set.samples.size();
    }
    return count;
}

// ---------------------------------------------------------------------------
// Attributes

std::vector<std::string> CachedTree::list_attributes(ObjectId object) {
    return attributes_.list(object);
}

std::optional<AttributeValue> CachedTree::read_attribute(ObjectId object, const std::string& name) {
    return attributes_.read(object, name);
}

void CachedTree::write_attribute(ObjectId object, const std::string& name,
                                 const AttributeValue& value) {
    attributes_.write(object, name, value);
}

} // namespace talvora::host
