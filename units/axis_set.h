// A data set together with the axis that its lines run along.
#pragma once

#include "plugin/host_tables.h"
#include "plugin/set_records.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace talvora::units {

struct AxisSet {
    dataset_handle handle{};
    OwnedShape shape;
    std::size_t axis = 0; // below the rank

    std::uint64_t line_length() const { return shape.extents()[axis]; }
    AxisLines plan_lines() const { return plan_axis_lines(shape.extents(), axis); }
};

// Asks the host for the shape. Nothing when the axis is out of range for the set.
inline std::optional<AxisSet> read_axis_set(const dataset_api& sets, dataset_handle handle,
                                            std::int64_t axis) {
    OwnedShape shape = read_shape(sets, handle);
    const auto resolved = resolve_axis(axis, shape.rank());
    return resolved ? std::optional<AxisSet>({handle, std::move(shape), *resolved}) : std::nullopt;
}

} // namespace talvora::units
