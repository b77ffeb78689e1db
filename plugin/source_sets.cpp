#include "plugin/source_sets.h"

#include "plugin/host_records.h"
#include "plugin/host_tables.h"
#include "plugin/unit_parameters.h"

namespace talvora {

namespace {

// The tables and the root that every step of a selection works with.
struct Selection {
    call_context* ctx;
    get_interface_function get_interface;
    const context_api& context;
    const group_api& groups;
    const dataset_api& sets;
    group_handle root;
};

Selection begin_selection(call_context* ctx, get_interface_function get_interface) {
    Selection selection{ctx,
                        get_interface,
                        get_context_api(get_interface),
                        get_group_api(get_interface),
                        get_dataset_api(get_interface),
                        NULL_GROUP};
    selection.context.root_group(&selection.root, ctx);
    return selection;
}

bool add_valid_dataset(const dataset_api& sets, group_handle group, const char* name,
                       DatasetHandleList& handles) {
    dataset_handle set{};
    sets.open_dataset(&set, group, name);
    if (sets.dataset_is_valid(set) == 0) {
        return false;
    }
    handles.add(set);
    return true;
}

bool add_named_sets(const Selection& selection, const OwnedTextList& names,
                    DatasetHandleList& handles) {
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (!add_valid_dataset(selection.sets, selection.root, names[i], handles)) {
            selection.context.log_error(selection.ctx, NO_DATA_SET_MESSAGE, names[i]);
            return false;
        }
    }
    return true;
}

bool scan_groups_below(const Selection& selection, group_handle group, DatasetHandleList& handles) {
    const host_flag scanned = selection.groups.visit_groups(group, collect_group_datasets, &handles,
                                                            selection.get_interface);
    handles.rethrow_failure();
    return scanned != 0;
}

bool add_group_sets(const Selection& selection, const OwnedText& name, bool recursive,
                    DatasetHandleList& handles) {
    const auto group = open_source_group(selection.ctx, selection.context, selection.groups,
                                         selection.root, name.c_str());
    if (!group) {
        return false;
    }
    // An invalid set listed here ends the listing, but not the selection.
    collect_group_datasets(*group, &handles, selection.get_interface);
    handles.rethrow_failure();
    if (recursive && !scan_groups_below(selection, *group, handles)) {
        selection.context.log_error(selection.ctx,
                                    "Error when scanning the source_group '%s' to find data set(s)",
                                    name.c_str());
        return false;
    }
    return true;
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

bool select_source_sets(DatasetHandleList& handles, call_context* ctx,
                        get_interface_function get_interface) {
    const Selection selection = begin_selection(ctx, get_interface);
    const OwnedTextList names = read_text_list(selection.context, ctx, "SourceSets");
    const OwnedText group = read_text(selection.context, ctx, "SourceGroup");
    const bool recursive = selection.context.read_boolean(ctx, "ScanRecursive") != 0;
    if (!names.has_value() && !group.has_value()) {
        selection.context.log_error(ctx, "No source found to get data set(s)");
        return false;
    }
    if (!add_named_sets(selection, names, handles)) {
        return false;
    }
    return !group.has_value() || add_group_sets(selection, group, recursive, handles);
}

std::optional<group_handle> open_source_group(call_context* ctx, const context_api& context,
                                              const group_api& groups, group_handle root,
                                              const char* name) {
    group_handle group{};
    groups.open_group(&group, root, name);
    if (groups.group_is_valid(group) == 0) {
        context.log_error(ctx, "Invalid source group '%s' to find data set(s)", name);
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
        OwnedTextList names;
        groups.list_datasets(names.out(), group);
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
