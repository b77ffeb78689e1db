// A data set together with the axis that its lines run along.
#pragma once

#include "plugin/set_records.h"
#include "units/axis.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace talvora::units {

struct AxisSet {
    dataset_handle handle{};
    OwnedShape shape;
    std::size_t axis = 0; // below the rank

    AxisLines plan_lines() const { return plan_axis_lines(shape.extents(), axis); }
};

// Asks the host for the shape. Nothing when the axis is out of range for the set.
inline std::optional<AxisSet> read_axis_set(const dataset_api& sets, dataset_handle handle,
                                            std::int64_t axis) {
    AxisSet set{handle, {}, 0};
    sets.dataset_shape(set.shape.out(), handle);
    const std::optional<std::size_t> resolved = resolve_axis(axis, set.shape.rank());
    if (!resolved) {
        return std::nullopt;
    }
    set.axis = *resolved;
    return set;
}

} // namespace talvora::units
