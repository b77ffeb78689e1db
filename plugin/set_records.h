// What a unit knows of a selected data set before it reads samples, and the plan of
// visiting a set line by line along one axis.
#pragma once

#include "plugin/host_interfaces.h"
#include "plugin/host_records.h"
#include "plugin/source_sets.h"

#include <cstdint>
#include <span>
#include <vector>

namespace talvora {

struct set_record {
    dataset_handle handle{};
    OwnedShape shape; // rank at least 1
    // The whole set: rank zeros, then the extents.
    std::vector<std::uint64_t> selection;
    float sample_rate = 0.0F; // Hz; NaN or infinite when it cannot be used
};

// The same with the axis that the samples run along.
struct axis_set_record : set_record {
    // The axis asked for, or the last dimension when that is negative. It may be out
    // of range: that is the unit's to report.
    std::int32_t axis = 0;
};

// One record per set of rank 1 or more, in list order. Asks the host for the rate,
// then for the shape; a rate that is NaN or infinite is warned of through log_warning
// and kept.
std::vector<set_record> build_set_records(const DatasetHandleList& handles, const dataset_api& sets,
                                          const log_api& log);
std::vector<axis_set_record> build_set_records(const DatasetHandleList& handles,
                                               const dataset_api& sets, const log_api& log,
                                               std::int32_t axis);

// Rank zeros, then the extents.
std::vector<std::uint64_t> select_whole_set(std::span<const std::uint64_t> extents);

// The product of the extents. Throws std::bad_array_new_length when it is more than
// a signed 64-bit integer holds: no such set can be had in memory.
std::uint64_t count_samples(std::span<const std::uint64_t> extents);

// A set seen as lines along one axis. Lines are numbered so that the first of the
// other dimensions varies fastest.
struct AxisLines {
    std::uint64_t line_length = 0;
    std::uint64_t line_count = 0;
    // One per dimension other than the axis, in increasing order of dimension.
    std::vector<std::uint64_t> other_extents;
    // 1, then the running product of other_extents.
    std::vector<std::uint64_t> cumulative_counts;
    // The hyperslab of one line: starts, then counts.
    std::vector<std::uint64_t> selection;
    // Where in the selection the starts of the other dimensions stand.
    std::vector<std::size_t> start_indices;

    // Moves the selection to line `line`, below line_count.
    void select_line(std::uint64_t line);
};

// `axis` is below the rank of the extents. Line 0 is selected.
AxisLines plan_axis_lines(std::span<const std::uint64_t> extents, std::size_t axis);

} // namespace talvora
