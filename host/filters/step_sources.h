// What the parameters of a step choose: data sets, and the dimension along which it takes their
// samples.
#pragma once

#include "host/interface/parameters.h"
#include "host/tree/data_tree.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace talvora::host {

// The object of a kind at a path; nothing for a path that no object can have. Throws StorageError.
std::optional<ObjectId> look_up(DataTree& tree, ObjectId group, const std::string& path,
                                ObjectKind kind);

// The group of SOURCE_GROUP_KEY, and with SCAN_RECURSIVE_KEY all below it. Empty when there is no
// such group, which is left to the unit to report.
std::vector<ObjectId> find_source_groups(const ParameterValues& values, DataTree& tree);

// Those named, then those in the groups, of which NAMES_FILTER_KEY may take some, each once. Names
// of none are left out.
std::vector<ObjectId> find_source_sets(const ParameterValues& values, DataTree& tree);

// Whether a set is one of those that METRIC_FILTER_KEY asks for: every one where that is empty.
// Throws StorageError.
bool has_metric(DataTree& tree, ObjectId set, const std::string& metric);

// The rate in Hz, as a unit reads it, of a set or a group: finite and above 0. Nothing for another
// one, or none, which the unit will refuse if it needs one. Throws StorageError.
std::optional<float> find_usable_rate(DataTree& tree, ObjectId object);

// By AXIS_KEY; the last dimension where that names none, for the unit refuses or passes over such
// a set. The set is of rank 1 or more.
std::size_t find_axis(const ParameterValues& values, const Extents& extents);

} // namespace talvora::host
