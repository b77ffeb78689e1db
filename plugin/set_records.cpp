#include "plugin/set_records.h"

#include "plugin/host_tables.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <utility>

namespace talvora {

namespace {

constexpr std::uint64_t MAX_SAMPLE_COUNT = std::numeric_limits<std::int64_t>::max();

std::uint64_t multiply_checked(std::uint64_t left, std::uint64_t right) {
    if (right != 0 && left > MAX_SAMPLE_COUNT / right) {
        throw std::bad_array_new_length();
    }
    return left * right;
}

float read_sample_rate(dataset_handle set, const dataset_api& sets, const log_api& log) {
    const float rate = sets.read_float_attribute(set, "SampleRate");
    if (!std::isfinite(rate)) {
        log.log_warning("Set Has NaN SampleRate. NaNs will be written to it.");
    }
    return rate;
}

} // namespace

std::vector<set_record> build_set_records(const DatasetHandleList& handles, const dataset_api& sets,
                                          const log_api& log) {
    std::vector<set_record> records;
    for (const dataset_handle handle : handles) {
        const float sample_rate = read_sample_rate(handle, sets, log);
        OwnedShape shape = read_shape(sets, handle);
        if (shape.rank() != 0) {
            Selection whole = select_whole_set(shape.extents());
            records.push_back({handle, std::move(shape), std::move(whole), sample_rate});
        }
    }
    return records;
}

Selection select_whole_set(std::span<const std::uint64_t> extents) {
    Selection selection(2 * extents.size(), 0);
    std::ranges::copy(extents, selection.begin() + static_cast<std::ptrdiff_t>(extents.size()));
    return selection;
}

std::uint64_t count_samples(std::span<const std::uint64_t> extents) {
    if (std::ranges::find(extents, 0U) != extents.end()) {
        return 0;
    }
    std::uint64_t count = 1;
    for (const std::uint64_t extent : extents) {
        count = multiply_checked(count, extent);
    }
    return count;
}

std::optional<std::size_t> resolve_axis(std::int64_t axis, std::uint64_t rank) {
    const std::uint64_t resolved = axis < 0 ? rank - 1 : static_cast<std::uint64_t>(axis);
    return resolved < rank ? std::optional<std::size_t>(resolved) : std::nullopt;
}

void AxisLines::select_line(std::uint64_t line) {
    for (std::size_t i = 0; i < other_extents.size(); ++i) {
        selection[start_indices[i]] = line / cumulative_counts[i] % other_extents[i];
    }
}

AxisLines plan_axis_lines(std::span<const std::uint64_t> extents, std::size_t axis) {
    AxisLines lines;
    lines.line_length = extents[axis];
    lines.selection.assign(2 * extents.size(), 0);
    std::fill_n(lines.selection.begin() + static_cast<std::ptrdiff_t>(extents.size()),
                extents.size(), 1);
    lines.selection[extents.size() + axis] = extents[axis];
    lines.cumulative_counts.push_back(1);
    for (std::size_t k = 0; k < extents.size(); ++k) {
        if (k != axis) {
            lines.start_indices.push_back(k);
            lines.other_extents.push_back(extents[k]);
            lines.cumulative_counts.push_back(lines.cumulative_counts.back() * extents[k]);
        }
    }
    lines.line_count = count_samples(lines.other_extents);
    return lines;
}

} // namespace talvora
