// What the filter unit does to the runs of valid samples of a set, found in its gaps.
#pragma once

#include "host/tree/gaps.h"

#include <cstdint>
#include <string>

namespace talvora::host {

// Counts over all lines; a line is the next `line_length` samples in row-major order.
struct FilteredRuns {
    std::uint64_t longest = 0;        // valid samples in a row
    std::uint64_t filtered_count = 0; // runs of them
    std::uint64_t left_samples = 0;   // in runs too short to be filtered, which keep their values
    std::uint64_t erased_samples = 0; // in such runs at an end of a line with a filtered one: they
                                      // become missing
};

// `shortest` is the shortest run that is filtered.
FilteredRuns count_filtered_runs(const GapList& gaps, std::uint64_t sample_count,
                                 std::uint64_t line_length, std::uint64_t shortest);

// Why no run was filtered: "the longest run of valid samples has 7, the filter takes those of 8 and
// more".
std::string describe_unfiltered(const FilteredRuns& runs, std::uint64_t shortest);

} // namespace talvora::host
