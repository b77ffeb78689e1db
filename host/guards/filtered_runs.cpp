#include "host/guards/filtered_runs.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>

namespace talvora::host {
namespace {

// Takes the runs of a line one after the other.
class LineOfRuns {
  public:
    LineOfRuns(FilteredRuns& all, std::uint64_t shortest) : all_(all), shortest_(shortest) {}

    void add(std::uint64_t length) {
        all_.longest = std::max(all_.longest, length);
        if (length < shortest_) {
            waiting_ += length;
            return;
        }
        // Short ones in front of the first are erased, those between two are left.
        (is_filtered_ ? all_.left_samples : all_.erased_samples) += waiting_;
        waiting_ = 0;
        is_filtered_ = true;
        ++all_.filtered_count;
    }

    void end() const { (is_filtered_ ? all_.erased_samples : all_.left_samples) += waiting_; }

  private:
    FilteredRuns& all_;
    std::uint64_t shortest_;
    std::uint64_t waiting_ = 0; // samples of short runs since the last filtered one
    bool is_filtered_ = false;
};

} // namespace

FilteredRuns count_filtered_runs(const GapList& gaps, std::uint64_t sample_count,
                                 std::uint64_t line_length, std::uint64_t shortest) {
    FilteredRuns all;
    std::span<const Gap> left = gaps.gaps();
    for (std::uint64_t begin = 0; begin < sample_count; begin += line_length) {
        LineOfRuns line(all, shortest);
        const std::uint64_t end = begin + line_length;
        std::uint64_t at = begin; // where the next run may begin
        while (!left.empty() && left.front().first < end) {
            const Gap& gap = left.front();
            if (gap.first > at) {
                line.add(gap.first - at);
            }
            at = std::max(at, gap.first + gap.count);
            if (at > end) { // goes on in the next line
                break;
            }
            left = left.subspan(1);
        }
        if (at < end) {
            line.add(end - at);
        }
        line.end();
    }
    return all;
}

std::string describe_unfiltered(const FilteredRuns& runs, std::uint64_t shortest) {
    return fmt::format("the longest run of valid samples has {}, the filter takes those of {} and "
                       "more",
                       runs.longest, shortest);
}

} // namespace talvora::host
