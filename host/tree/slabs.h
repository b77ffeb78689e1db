// Goes through a data set part by part, so that one of any size needs a bounded buffer.
#pragma once

#include "host/tree/data_tree.h"
#include "host/tree/tree_rules.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace talvora::host {

// Calls `visit(slab, sample_count)` with one hyperslab of at most `max_samples` after the
// other, together everything inside the extents in row-major order.
template <typename Visit>
void visit_slabs(const Extents& extents, std::uint64_t max_samples, Visit visit) {
    if (count_samples(extents) == 0) {
        return;
    }
    if (extents.empty()) {
        return visit(Hyperslab{extents, extents}, std::uint64_t{1});
    }
    const auto count_below = [&](std::size_t dimension) {
        return count_samples(std::span(extents).subspan(dimension + 1));
    };
    // The dimension that is cut: a slab has one position of those before it and all of
    // those behind it.
    std::size_t cut = 0;
    while (count_below(cut) > max_samples) {
        ++cut;
    }
    const std::uint64_t at_once = std::max<std::uint64_t>(1, max_samples / count_below(cut));
    Extents starts(extents.size(), 0);
    Extents counts = extents;
    std::fill_n(counts.begin(), cut, 1);
    while (starts[0] < extents[0]) {
        counts[cut] = std::min(at_once, extents[cut] - starts[cut]);
        visit(Hyperslab{starts, counts}, counts[cut] * count_below(cut));
        starts[cut] += counts[cut];
        for (std::size_t d = cut; d > 0 && starts[d] == extents[d]; --d) {
            starts[d] = 0;
            ++starts[d - 1];
        }
    }
}

} // namespace talvora::host
