#include "host/tree/hyperslab_copy.h"

#include "host/tree/tree_rules.h"

#include <array>
#include <cstring>

namespace talvora::host {

namespace {

// A loop around the contiguous runs of a hyperslab, its step counted in samples.
struct Level {
    std::uint64_t count;
    std::uint64_t stride;
};

struct CopyPlan {
    std::uint64_t first = 0;
    std::uint64_t run = 1;
    std::size_t level_count = 0;
    std::array<Level, MAX_RANK> levels; // fastest first, `level_count` of them filled
};

CopyPlan plan_copy(std::span<const std::uint64_t> extents, const Hyperslab& slab) {
    CopyPlan plan;
    std::uint64_t stride = 1;
    for (std::size_t d = extents.size(); d-- > 0;) {
        plan.first += slab.starts[d] * stride;
        const bool faster_ones_are_whole = plan.run == stride;
        if (faster_ones_are_whole) {
            plan.run *= slab.counts[d];
        } else if (slab.counts[d] != 1) {
            plan.levels[plan.level_count++] = {slab.counts[d], stride};
        }
        stride *= extents[d];
    }
    return plan;
}

template <typename CopyRun>
void visit_runs(const CopyPlan& plan, std::size_t level, std::uint64_t offset, CopyRun& copy) {
    if (level == 0) {
        return copy(offset);
    }
    const auto [count, stride] = plan.levels[level - 1];
    for (std::uint64_t i = 0; i < count; ++i) {
        visit_runs(plan, level - 1, offset + i * stride, copy);
    }
}

// Single samples are by far the most runs of a line along a slow axis: no call for those.
void copy_run(float* to, const float* from, std::uint64_t count) {
    if (count == 1) {
        *to = *from;
    } else {
        std::memcpy(to, from, count * sizeof(float));
    }
}

} // namespace

void gather_samples(std::span<const std::uint64_t> extents, const Hyperslab& slab,
                    const float* array, std::span<float> block) {
    if (block.empty()) {
        return;
    }
    const CopyPlan plan = plan_copy(extents, slab);
    float* to = block.data();
    auto copy = [&](std::uint64_t offset) {
        copy_run(to, array + offset, plan.run);
        to += plan.run;
    };
    visit_runs(plan, plan.level_count, plan.first, copy);
}

void scatter_samples(std::span<const std::uint64_t> extents, const Hyperslab& slab,
                     std::span<const float> block, float* array) {
    if (block.empty()) {
        return;
    }
    const CopyPlan plan = plan_copy(extents, slab);
    const float* from = block.data();
    auto copy = [&](std::uint64_t offset) {
        copy_run(array + offset, from, plan.run);
        from += plan.run;
    };
    visit_runs(plan, plan.level_count, plan.first, copy);
}

} // namespace talvora::host
