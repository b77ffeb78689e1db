// Which data sets an in-place unit works on: those named in "SourceSets", those of
// the group named in "SourceGroup" and, with "ScanRecursive", of the groups below it.
#pragma once

#include "plugin/host_interfaces.h"
#include "plugin/host_records.h"
#include "plugin/unit_call.h"

#include <exception>
#include <optional>
#include <unordered_set>
#include <utility>
#include <vector>

namespace talvora {

// Said of a name that opens no data set; its argument is the name.
inline constexpr char NO_DATA_SET_MESSAGE[] = "No data set '%s' found";

// Distinct handles in the order in which they were first added.
class DatasetHandleList {
  public:
    void add(dataset_handle handle);

    bool empty() const noexcept { return handles_.empty(); }
    std::size_t size() const noexcept { return handles_.size(); }
    auto begin() const noexcept { return handles_.begin(); }
    auto end() const noexcept { return handles_.end(); }

    // An exception must not pass through the host's frames on its way out of a scan:
    // the callback keeps it here, and whoever asked for the scan throws it on.
    void keep_failure(std::exception_ptr failure) noexcept { failure_ = std::move(failure); }
    void rethrow_failure() const;

  private:
    std::vector<dataset_handle> handles_;
    std::unordered_set<dataset_handle> known_;
    std::exception_ptr failure_;
};

// The named sets first, then the group's. Nothing when a source was not found, which has
// been reported.
std::optional<DatasetHandleList> select_source_sets(call_context* ctx,
                                                    get_interface_function get_interface);

// The source group of that name below the root of the call. Nothing when it is not valid,
// which has been reported.
std::optional<group_handle> open_source_group(const UnitCall& call, const OwnedText& name);

// Adds the data sets listed directly in a group. `handle_list` is a
// DatasetHandleList. 0 on success, -1 when a listed set is not valid (those before it
// are kept) or when an exception was kept in the list. The form is that of a
// visit_groups callback, as which it also serves.
std::int32_t collect_group_datasets(group_handle group, void* handle_list,
                                    get_interface_function get_interface) noexcept;

} // namespace talvora
