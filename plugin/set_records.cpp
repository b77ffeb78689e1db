#include "plugin/set_records.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

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

template <typename Record>
std::vector<Record> build_records(const DatasetHandleList& handles, const dataset_api& sets,
                                  const log_api& log) {
    std::vector<Record> records;
    for (const dataset_handle handle : handles) {
        Record record;
        record.handle = handle;
        record.sample_rate = read_sample_rate(handle, sets, log);
        sets.dataset_shape(record.shape.out(), handle);
        if (record.shape.rank() != 0) {
            record.selection = select_whole_set(record.shape.extents());
            records.push_back(std::move(record));
        }
    }
    return records;
}

// Any negative axis is the last one.
std::int32_t resolve_record_axis(std::int32_t axis, std::uint64_t rank) {
    return axis < 0 ? static_cast<std::int32_t>(rank - 1) : axis;
}

} // namespace

std::vector<set_record> build_set_records(const DatasetHandleList& handles, const dataset_api& sets,
                                          const log_api& log) {
    return build_records<set_record>(handles, sets, log);
}

std::vector<axis_set_record> build_set_records(const DatasetHandleList& handles,
                                               const dataset_api& sets, const log_api& log,
                                               std::int32_t axis) {
    auto records = build_records<axis_set_record>(handles, sets, log);
    for (axis_set_record& record : records) {
        record.axis = resolve_record_axis(axis, record.shape.rank());
    }
    return records;
}

std::vector<std::uint64_t> select_whole_set(std::span<const std::uint64_t> extents) {
    std::vector<std::uint64_t> selection(2 * extents.size(), 0);
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
