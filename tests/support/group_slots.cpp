#include "tests/support/host_slots.h"
#include "tests/support/slot_call.h"

namespace talvora::test_support {

namespace {

void create_group(Handle* out, Handle parent, const char* path) {
    Call call;
    call.record("create_group", call.host.name_of(parent), call.text(path));
    const std::string whole = call.path_below(parent, call.text(path));
    if (call.host.refused_creations.contains(whole)) {
        *out = call.host.habits.refuses_with_handle ? call.host.no_group_handle(whole) : 0;
        return;
    }
    call.host.tree.group(whole);
    *out = call.host.group_handle(whole);
}

std::uint64_t group_exists(Handle parent, const char* path) {
    Call call;
    call.record("group_exists", call.host.name_of(parent), call.text(path));
    return flag(call.host.tree.find_group(call.path_below(parent, call.text(path))) != nullptr);
}

std::uint64_t group_is_valid(Handle group) {
    Call call;
    call.record("group_is_valid", call.host.name_of(group));
    return flag(call.host.is_group(group));
}

void list_groups(Words* out, Handle group) {
    Call call;
    call.record("list_groups", call.host.name_of(group));
    const Group* found = call.host.group_of(group);
    fill_texts(out, found == nullptr ? Texts{} : call.host.tree.child_groups(found->path()),
               "list_groups");
}

void list_datasets(Words* out, Handle group) {
    Call call;
    call.record("list_datasets", call.host.name_of(group));
    const Group* found = call.host.group_of(group);
    fill_texts(out, found == nullptr ? Texts{} : call.host.tree.child_datasets(found->path()),
               "list_datasets");
}

void open_group(Handle* out, Handle parent, const char* path) {
    Call call;
    call.record("open_group", call.host.name_of(parent), call.text(path));
    *out = call.host.group_handle(call.path_below(parent, call.text(path)));
}

using VisitCallback = std::int32_t (*)(Handle, void*, void* (*)(std::int32_t));

// The groups of a scan: depth first, parents before their children.
void collect_groups(const RecordedTree& tree, const std::string& path, Texts& paths) {
    for (const std::string& name : tree.child_groups(path)) {
        paths.push_back(join_path(path, name));
        collect_groups(tree, paths.back(), paths);
    }
}

Texts groups_to_visit(const HostState& host, const std::string& start) {
    Texts paths;
    if (host.habits.visits_starting_group) {
        paths.push_back(start);
    }
    collect_groups(host.tree, start, paths);
    return paths;
}

std::int32_t call_back(VisitCallback callback, Handle group, void* user) {
    const CallbackSection section;
    return callback(group, user, get_interface);
}

bool visit_all(HostState& host, const Texts& paths, VisitCallback callback, void* user) {
    int visited = 0;
    for (const std::string& path : paths) {
        if (host.habits.failing_visit == visited++ ||
            call_back(callback, host.group_handle(path), user) < 0) {
            return false;
        }
    }
    return host.habits.failing_visit != visited;
}

std::uint64_t visit_groups(Handle group, VisitCallback callback, void* user,
                           void* (*interfaces)(std::int32_t)) {
    Call call;
    call.record("visit_groups", call.host.name_of(group));
    if (interfaces != get_interface) {
        call.host.add_violation("visit_groups received another get_interface");
    }
    const Group* start = call.host.group_of(group);
    return flag(start != nullptr &&
                visit_all(call.host, groups_to_visit(call.host, start->path()), callback, user));
}

void write_float_attribute(Handle group, const char* name, float value) {
    Call call;
    call.record("write_float_attribute", call.host.name_of(group), call.text(name),
                number_text(static_cast<double>(value)));
    if (Group* found = call.host.group_of(group)) {
        found->attributes()[call.text(name)] = {value, 21};
    }
}

std::uint64_t has_attribute(Handle group, const char* name) {
    Call call;
    call.record("has_attribute", call.host.name_of(group), call.text(name));
    const Group* found = call.host.group_of(group);
    return flag(found != nullptr && found->has_attribute(call.text(name)));
}

std::int64_t read_integer_attribute(Handle group, const char* name) {
    Call call;
    call.record("read_integer_attribute", call.host.name_of(group), call.text(name));
    Group* found = call.host.group_of(group);
    return found == nullptr ? 0 : integer_of(found->attributes(), call.text(name));
}

float read_float_attribute(Handle group, const char* name) {
    Call call;
    call.record("read_float_attribute", call.host.name_of(group), call.text(name));
    Group* found = call.host.group_of(group);
    return found == nullptr ? 0.0F : call.float_of(found->attributes(), call.text(name));
}

} // namespace

void lay_out_group_table(Table& table) {
    table.set(0, create_group);
    table.set(1, group_exists);
    table.set(2, group_is_valid);
    table.set(3, list_groups);
    table.set(4, list_datasets);
    table.set(5, open_group);
    table.set(6, visit_groups);
    table.set(21, write_float_attribute);
    table.set(36, has_attribute);
    table.set(44, read_integer_attribute);
    table.set(46, read_float_attribute);
}

} // namespace talvora::test_support
