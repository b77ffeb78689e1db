#include "plugin/source_sets.h"

#include "plugin/host_tables.h"

namespace talvora {

namespace {

bool add_valid_dataset(const dataset_api& sets, group_handle group, const char* name,
                       DatasetHandleList& handles) {
    const dataset_handle set = open_dataset(sets, group, name);
    if (sets.dataset_is_valid(set) == 0) {
        return false;
    }
    handles.add(set);
    return true;
}

bool add_named_sets(const UnitCall& call, const OwnedTextList& names, DatasetHandleList& handles) {
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (!add_valid_dataset(call.sets(), call.root(), names[i], handles)) {
            return call.fail(NO_DATA_SET_MESSAGE, names[i]);
        }
    }
    return true;
}

bool scan_groups_below(const UnitCall& call, group_handle group, DatasetHandleList& handles) {
    const host_flag scanned = call.groups().visit_groups(group, collect_group_datasets, &handles,
                                                         call.interface_getter());
    handles.rethrow_failure();
    return scanned != 0;
}

bool add_group_sets(const UnitCall& call, const OwnedText& name, bool recursive,
                    DatasetHandleList& handles) {
    const auto group = open_source_group(call, name);
    if (!group) {
        return false;
    }
    // An invalid set listed here ends the listing, but not the search for sources.
    collect_group_datasets(*group, &handles, call.interface_getter());
    handles.rethrow_failure();
    if (recursive && !scan_groups_below(call, *group, handles)) {
        return call.fail("Error when scanning the source_group '%s' to find data set(s)",
                         name.c_str());
    }
    return true;
}

UnitCall begin_source_search(call_context* ctx, get_interface_function get_interface) {
    UnitCall call(ctx, get_interface, {CONTEXT_API_ID, GROUP_API_ID, DATASET_API_ID});
    call.fetch_root();
    return call;
}

bool add_sources(const UnitCall& call, DatasetHandleList& handles) {
    const OwnedTextList names = call.read_text_list("SourceSets");
    const OwnedText group = call.read_text("SourceGroup");
    const bool recursive = call.read_boolean("ScanRecursive");
    if (!names.has_value() && !group.has_value()) {
        return call.fail("No source found to get data set(s)");
    }
    return add_named_sets(call, names, handles) &&
           (!group.has_value() || add_group_sets(call, group, recursive, handles));
}

} // namespace

void DatasetHandleList::add(dataset_handle handle) {
    if (known_.insert(handle).second) {
        handles_.push_back(handle);
    }
}

void DatasetHandleList::rethrow_failure() const {
    if (failure_) {
        std::rethrow_exception(failure_);
    }
}

std::optional<DatasetHandleList> select_source_sets(call_context* ctx,
                                                    get_interface_function get_interface) {
    std::optional<DatasetHandleList> handles(std::in_place);
    if (!add_sources(begin_source_search(ctx, get_interface), *handles)) {
        handles.reset();
    }
    return handles;
}

std::optional<group_handle> open_source_group(const UnitCall& call, const OwnedText& name) {
    const group_handle group = open_group(call.groups(), call.root(), name.c_str());
    if (call.groups().group_is_valid(group) == 0) {
        call.report("Invalid source group '%s' to find data set(s)", name.c_str());
        return std::nullopt;
    }
    return group;
}

std::int32_t collect_group_datasets(group_handle group, void* handle_list,
                                    get_interface_function get_interface) noexcept {
    auto& handles = *static_cast<DatasetHandleList*>(handle_list);
    try {
        const group_api& groups = get_group_api(get_interface);
        const dataset_api& sets = get_dataset_api(get_interface);
        const OwnedTextList names = list_datasets(groups, group);
        for (std::size_t i = 0; i < names.size(); ++i) {
            if (!add_valid_dataset(sets, group, names[i], handles)) {
                return -1;
            }
        }
        return 0;
    } catch (...) {
        handles.keep_failure(std::current_exception());
        return -1;
    }
}

} // namespace talvora
