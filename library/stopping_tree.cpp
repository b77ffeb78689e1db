#include "library/stopping_tree.h"

#include <algorithm>
#include <limits>

namespace talvora::library {

void StoppingTree::read(host::ObjectId set, const host::Hyperslab& slab, std::span<float> samples) {
    try {
        ask();
    } catch (const host::TreeError&) {
        std::ranges::fill(samples, std::numeric_limits<float>::quiet_NaN());
        throw;
    }
    tree_.read(set, slab, samples);
}

void StoppingTree::write(host::ObjectId set, const host::Hyperslab& slab,
                         std::span<const float> samples) {
    ask();
    tree_.write(set, slab, samples);
}

void StoppingTree::ask() {
    has_stopped_ = has_stopped_ || (should_stop_ != nullptr && should_stop_(context_) != 0);
    if (has_stopped_) {
        throw host::TreeError("the caller has stopped the work");
    }
}

} // namespace talvora::library
