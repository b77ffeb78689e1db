#include "host/runs/work_meter.h"

#include "host/tree/tree_rules.h"

#include <algorithm>
#include <utility>

namespace talvora::host {

void WorkMeter::begin_step(std::uint64_t expected_count) {
    ++begun_count_;
    expected_count_ = expected_count;
    passed_count_ = 0;
    tallies_.clear();
}

void WorkMeter::add(const SampleRequest& request, const DataTree& tree) {
    const auto [place, is_first] = tallies_.try_emplace(request.set);
    Tally& tally = place->second;
    if (is_first) {
        tally.sample_count = count_samples(tree.extents(request.set));
    }
    const auto counted = [&] {
        return std::min(tally.sample_count, std::max(tally.read, tally.written));
    };
    const std::uint64_t before = counted();
    (request.writes ? tally.written : tally.read) += request.count;
    untold_count_ += counted() - before;
    passed_count_ += request.count;
    const auto now = Clock::now();
    if (now - last_ >= std::chrono::milliseconds(100)) {
        last_ = now;
        tell();
    }
}

void WorkMeter::finish() {
    tell();
}

void WorkMeter::tell() {
    tell_({std::exchange(untold_count_, 0), share()});
}

double WorkMeter::share() const {
    const double of_step = expected_count_ == 0
                               ? 0.0
                               : std::min(1.0, static_cast<double>(passed_count_) /
                                                   static_cast<double>(expected_count_));
    return (static_cast<double>(begun_count_ - 1) + of_step) / static_cast<double>(step_count_);
}

} // namespace talvora::host
