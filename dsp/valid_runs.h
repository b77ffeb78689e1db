// Where a line of samples has values: NaN marks a missing sample.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace talvora::dsp {

// A maximal stretch of consecutive samples without a NaN; infinities are samples.
struct ValidRun {
    std::int64_t start = 0;
    std::int64_t length = 0;

    friend bool operator==(const ValidRun&, const ValidRun&) = default;
};

// Lists the runs of a line with at least `min_length` samples, in increasing order of
// start, in place of what `runs` held. The comparison is signed: a negative minimum keeps
// every run. Linear in the samples; allocates only where the list grows, so that callers
// reuse one list from line to line.
void find_valid_runs(std::span<const float> line, std::int64_t min_length,
                     std::vector<ValidRun>& runs);
void find_valid_runs(std::span<const double> line, std::int64_t min_length,
                     std::vector<ValidRun>& runs);

} // namespace talvora::dsp
