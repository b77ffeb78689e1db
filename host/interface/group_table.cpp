// Table 7: groups and their attributes.
#include "host/interface/interface_tables.h"
#include "host/interface/record_makers.h"
#include "host/interface/table_objects.h"
#include "host/tree/group_walk.h"

namespace talvora::host {

namespace {

// A taken name is the caller's to report: it gets no handle, and nothing is noted.
void create_group(group_handle* out, group_handle parent, const char* path) {
    *out = answer("create_group", [&](HostCall& call) {
        const ObjectId object = object_of(call, parent);
        if (call.tree().find(object, checked_text(path))) {
            return NULL_GROUP;
        }
        return to_handle<group_handle>(call.tree().create_group(object, path));
    });
}

host_flag group_exists(group_handle parent, const char* path) {
    return answer("group_exists", [&](HostCall& call) -> host_flag {
        return find_object(call, parent, path, ObjectKind::Group) ? 1 : 0;
    });
}

host_flag group_is_valid(group_handle group) {
    return answer("group_is_valid",
                  [&](HostCall& call) -> host_flag { return is_valid(call, group) ? 1 : 0; });
}

void list_groups(host_list* out, group_handle group) {
    fill_record("list_groups", out, [&](HostCall& call) {
        return make_text_list(call.tree().list_groups(object_of(call, group)));
    });
}

void list_datasets(host_list* out, group_handle group) {
    fill_record("list_datasets", out, [&](HostCall& call) {
        return make_text_list(call.tree().list_datasets(object_of(call, group)));
    });
}

void open_group(group_handle* out, group_handle parent, const char* path) {
    *out = answer("open_group", [&](HostCall& call) {
        return to_handle<group_handle>(find_object(call, parent, path, ObjectKind::Group));
    });
}

// Each once, also where links make a group its own descendant.
std::vector<ObjectId> list_groups_below(DataTree& tree, ObjectId start) {
    std::vector<ObjectId> groups;
    walk_groups(tree, start, [&](ObjectId group) {
        if (group != start) {
            groups.push_back(group);
        }
    });
    return groups;
}

// The list is complete before the first callback, which may throw through this function
// and may change the tree.
host_flag visit_groups(group_handle group, visit_groups_callback callback, void* user,
                       get_interface_function get_interface_given) {
    bool listed = false;
    const auto groups = answer("visit_groups", [&](HostCall& call) {
        if (callback == nullptr) {
            throw InterfaceBreak("called without a callback");
        }
        auto below = list_groups_below(call.tree(), object_of(call, group));
        listed = true;
        return below;
    });
    for (const ObjectId below : groups) {
        if (callback(to_handle<group_handle>(below), user, get_interface_given) != 0) {
            return 0;
        }
    }
    return listed ? 1 : 0;
}

void write_float_attribute(group_handle group, const char* name, float value) {
    answer("write_float_attribute", [&](HostCall& call) {
        call.tree().write_attribute(object_of(call, group), checked_text(name), value);
    });
}

host_flag group_has_attribute(group_handle group, const char* name) {
    return answer("has_attribute", [&](HostCall& call) -> host_flag {
        return has_attribute(call.tree(), object_of(call, group), checked_text(name)) ? 1 : 0;
    });
}

std::int64_t read_integer_attribute(group_handle group, const char* name) {
    return answer("read_integer_attribute", [&](HostCall& call) {
        return read_integer(call.tree(), object_of(call, group), checked_text(name));
    });
}

float read_float_attribute(group_handle group, const char* name) {
    return answer("read_float_attribute", [&](HostCall& call) {
        return read_float(call.tree(), object_of(call, group), checked_text(name));
    });
}

} // namespace

const group_api GROUP_TABLE{.create_group = create_group,
                            .group_exists = group_exists,
                            .group_is_valid = group_is_valid,
                            .list_groups = list_groups,
                            .list_datasets = list_datasets,
                            .open_group = open_group,
                            .visit_groups = visit_groups,
                            .slots_7_to_20 = {},
                            .write_float_attribute = write_float_attribute,
                            .slots_22_to_35 = {},
                            .has_attribute = group_has_attribute,
                            .slots_37_to_43 = {},
                            .read_integer_attribute = read_integer_attribute,
                            .slot_45 = nullptr,
                            .read_float_attribute = read_float_attribute};

} // namespace talvora::host
