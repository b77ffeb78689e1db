#include "host/tree/gaps.h"

#include <algorithm>
#include <cstddef>

namespace talvora::host {
namespace {

// Short enough for a 32-bit counter in vector registers, long enough to be worth it.
constexpr std::size_t BLOCK_SAMPLES = 4096;

// No branch on the sample, so that the compiler makes vector instructions of it.
std::uint32_t count_missing(std::span<const float> block) {
    std::uint32_t count = 0;
    for (const float sample : block) {
        count += sample != sample ? 1U : 0U;
    }
    return count;
}

} // namespace

void GapList::append(std::span<const float> samples) {
    while (!samples.empty()) {
        const auto block = samples.first(std::min(samples.size(), BLOCK_SAMPLES));
        if (count_missing(block) > 0) {
            for (std::size_t i = 0; i < block.size(); ++i) {
                if (block[i] != block[i]) {
                    add_missing(next_ + i);
                }
            }
        }
        next_ += block.size();
        samples = samples.subspan(block.size());
    }
}

void GapList::add_missing(std::uint64_t position) {
    const bool goes_on = !gaps_.empty() && gaps_.back().first + gaps_.back().count == position &&
                         position % line_length_ != 0;
    if (goes_on) {
        ++gaps_.back().count;
    } else {
        gaps_.push_back({position, 1});
    }
    ++missing_count_;
}

std::uint64_t count_filled_gaps(const GapList& before, const GapList& after) {
    std::uint64_t count = 0;
    auto left = after.gaps().begin();
    for (const Gap& gap : before.gaps()) {
        while (left != after.gaps().end() && left->first + left->count <= gap.first) {
            ++left;
        }
        count += left == after.gaps().end() || left->first >= gap.first + gap.count ? 1U : 0U;
    }
    return count;
}

} // namespace talvora::host
