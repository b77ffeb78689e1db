#include "library/way_search.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <numeric>
#include <utility>

namespace talvora::library {
namespace {

constexpr int MOST_TRIALS = 50'000;

// The largest first. Axes of one size are like one with the steps of both.
std::vector<Steps> merge(std::vector<Steps> steps) {
    std::erase_if(steps, [](const Steps& axis) { return axis.size == 0 || axis.most == 0; });
    std::ranges::sort(steps, std::greater<>());
    std::vector<Steps> merged;
    for (const Steps& axis : steps) {
        if (!merged.empty() && merged.back().size == axis.size) {
            merged.back().most += axis.most;
        } else {
            merged.push_back(axis);
        }
    }
    return merged;
}

// What the axes from one on can make at most, and what all that they make is a multiple of.
struct Rest {
    std::uint64_t reach = 0;
    std::uint64_t divisor = 0;
};

std::vector<Rest> sum_up(const std::vector<Steps>& axes) {
    std::vector<Rest> rests(axes.size() + 1);
    for (std::size_t i = axes.size(); i-- > 0;) {
        rests[i] = {rests[i + 1].reach + axes[i].size * axes[i].most,
                    std::gcd(rests[i + 1].divisor, axes[i].size)};
    }
    return rests;
}

class WaySearch {
  public:
    explicit WaySearch(std::vector<Steps> steps)
        : axes_(merge(std::move(steps))), rests_(sum_up(axes_)) {}

    // With the axes from this one on: as many steps of it as may be, down to as many as have to be.
    Answer search(std::size_t axis, std::uint64_t distance) {
        if (distance == 0) {
            return Answer::Yes;
        }
        if (distance > rests_[axis].reach || distance % rests_[axis].divisor != 0) {
            return Answer::No;
        }
        if (--trials_left_ < 0) {
            return Answer::Unknown;
        }
        const auto& [size, most] = axes_[axis];
        const std::uint64_t others = rests_[axis + 1].reach;
        const std::uint64_t least = distance > others ? (distance - others - 1) / size + 1 : 0;
        for (std::uint64_t count = std::min(most, distance / size) + 1; count-- > least;) {
            if (const Answer answer = search(axis + 1, distance - count * size);
                answer != Answer::No) {
                return answer;
            }
            if (--trials_left_ < 0) {
                return Answer::Unknown;
            }
        }
        return Answer::No;
    }

  private:
    std::vector<Steps> axes_;
    std::vector<Rest> rests_; // one more than axes
    int trials_left_ = MOST_TRIALS;
};

} // namespace

Answer find_way(std::vector<Steps> steps, std::uint64_t distance) {
    return WaySearch(std::move(steps)).search(0, distance);
}

} // namespace talvora::library
