// What a unit knows of a selected data set before it reads samples, and the plan of
// visiting a set line by line along one axis.
#pragma once

#include "plugin/host_interfaces.h"
#include "plugin/host_records.h"
#include "plugin/source_sets.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace talvora {

// A hyperslab of a set: one start per dimension, then one count per dimension.
using Selection = std::vector<std::uint64_t>;
// The same of a set that has three dimensions.
using Selection3D = std::array<std::uint64_t, 6>;

struct set_record {
    dataset_handle handle{};
    OwnedShape shape;         // rank at least 1
    Selection selection;      // the whole set
    float sample_rate = 0.0F; // Hz; NaN or infinite when it cannot be used
};

// One record per set of rank 1 or more, in list order. Asks the host for the rate,
// then for the shape; a rate that is NaN or infinite is warned of through log_warning
// and kept.
std::vector<set_record> build_set_records(const DatasetHandleList& handles, const dataset_api& sets,
                                          const log_api& log);

// Rank zeros, then the extents.
Selection select_whole_set(std::span<const std::uint64_t> extents);

// The product of the extents. Throws std::bad_array_new_length when it is more than
// a signed 64-bit integer holds: no such set can be had in memory.
std::uint64_t count_samples(std::span<const std::uint64_t> extents);

// Which dimension an "Axis" parameter means: any negative axis is the last one. Nothing
// when the axis is not below the rank, compared as the unsigned 64-bit values that they
// are; so no axis of a set of rank 0 is.
std::optional<std::size_t> resolve_axis(std::int64_t axis, std::uint64_t rank);

// A set seen as lines along one axis. Lines are numbered so that the first of the
// other dimensions varies fastest.
struct AxisLines {
    std::uint64_t line_length = 0;
    std::uint64_t line_count = 0;
    // One per dimension other than the axis, in increasing order of dimension.
    std::vector<std::uint64_t> other_extents;
    // 1, then the running product of other_extents.
    std::vector<std::uint64_t> cumulative_counts;
    Selection selection; // of one line
    // Where in the selection the starts of the other dimensions stand.
    std::vector<std::size_t> start_indices;

    // Moves the selection to line `line`, below line_count.
    void select_line(std::uint64_t line);
};

// `axis` is below the rank of the extents. Line 0 is selected.
AxisLines plan_axis_lines(std::span<const std::uint64_t> extents, std::size_t axis);

} // namespace talvora
