#include "host/tree/gaps.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>

namespace talvora::host {
namespace {

// Short enough to be gone through again for one sample, long enough to be worth it.
constexpr std::size_t BLOCK_SAMPLES = 256;

// Without their sign the bits of floats are in the order of their values, infinity and NaN last.
bool is_usual(float sample) {
    constexpr std::uint32_t SIGN = 0x8000'0000;
    return (std::bit_cast<std::uint32_t>(sample) & ~SIGN) <
           std::bit_cast<std::uint32_t>(NEVER_WRITTEN);
}

// No branch on the sample, so that the compiler makes vector instructions of it.
bool are_usual(std::span<const float> block) {
    std::uint32_t count = 0;
    for (const float sample : block) {
        count += is_usual(sample) ? 0U : 1U;
    }
    return count == 0;
}

} // namespace

void GapList::append(std::span<const float> samples) {
    while (!samples.empty()) {
        const auto block = samples.first(std::min(samples.size(), BLOCK_SAMPLES));
        if (!are_usual(block)) {
            look_through(block);
        }
        next_ += block.size();
        samples = samples.subspan(block.size());
    }
}

void GapList::look_through(std::span<const float> block) {
    for (std::size_t i = 0; i < block.size(); ++i) {
        if (std::isnan(block[i])) {
            add_missing(next_ + i);
        } else if (std::isinf(block[i])) {
            ++infinite_count_;
        } else if (block[i] == NEVER_WRITTEN) {
            ++never_written_count_;
        }
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
