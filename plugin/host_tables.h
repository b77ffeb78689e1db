// The host's function tables, fetched by their numbers, and those of their slots that
// fill what they are given, as functions that return it. Tables are borrowed for one
// operation and never kept; a host has all four. A unit's run has its tables in the UnitCall.
#pragma once

#include "plugin/host_interfaces.h"
#include "plugin/host_records.h"

#include <cstdint>
#include <span>

namespace talvora {

inline const context_api& get_context_api(get_interface_function get_interface) {
    return *static_cast<const context_api*>(get_interface(CONTEXT_API_ID));
}

inline const group_api& get_group_api(get_interface_function get_interface) {
    return *static_cast<const group_api*>(get_interface(GROUP_API_ID));
}

inline const dataset_api& get_dataset_api(get_interface_function get_interface) {
    return *static_cast<const dataset_api*>(get_interface(DATASET_API_ID));
}

// The handle may name no group: group_is_valid tells.
group_handle open_group(const group_api& groups, group_handle parent, const char* path);
OwnedTextList list_groups(const group_api& groups, group_handle group);
OwnedTextList list_datasets(const group_api& groups, group_handle group);

// The handle may name no set: dataset_is_valid tells.
dataset_handle open_dataset(const dataset_api& sets, group_handle group, const char* path);
dataset_handle create_dataset(const dataset_api& sets, group_handle group, const char* name,
                              std::span<const std::uint64_t> extents);
OwnedShape read_shape(const dataset_api& sets, dataset_handle set);
OwnedTextList list_attributes(const dataset_api& sets, dataset_handle set);
// The text, or the empty one when there is no such attribute.
OwnedText read_text_attribute(const dataset_api& sets, dataset_handle set, const char* name);

// There is room for, or there are, as many samples as the selection names: one start per
// dimension, then one count per dimension.
inline void read_samples(const dataset_api& sets, dataset_handle set, std::span<float> samples,
                         std::span<const std::uint64_t> selection) {
    sets.read_samples(set, samples.data(), selection.data(), selection.size());
}

inline void write_samples(const dataset_api& sets, dataset_handle set,
                          std::span<const float> samples,
                          std::span<const std::uint64_t> selection) {
    sets.write_samples(set, samples.data(), selection.data(), selection.size());
}

} // namespace talvora
