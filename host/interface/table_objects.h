// What the tables of groups and of data sets have in common: objects behind handles, and
// attributes read as the one type that a slot is for.
#pragma once

#include "host/interface/host_call.h"

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

namespace talvora::host {

// Fills a host record, which the caller has zeroed: one that was not is a break.
template <typename Record, typename Work>
void fill_record(const char* slot, Record* out, Work work) {
    *out = answer(slot, [&](HostCall& call) {
        const Record zeros{};
        if (std::memcmp(out, &zeros, sizeof zeros) != 0) {
            call.report_break(slot, "called with a record that is not zeroed");
        }
        return work(call);
    });
}

template <typename Handle>
Handle to_handle(ObjectId object) {
    return Handle{static_cast<std::uint64_t>(object)};
}

template <typename Handle>
Handle to_handle(std::optional<ObjectId> object) {
    return object ? to_handle<Handle>(*object) : Handle{};
}

// Whether there is an object of the kind behind the handle; no handle is too strange.
bool is_valid(HostCall& call, ObjectId object, ObjectKind kind);
bool is_valid(HostCall& call, group_handle group);
bool is_valid(HostCall& call, dataset_handle set);

// The object behind a handle; a TreeError when there is none of that kind.
ObjectId object_of(HostCall& call, group_handle group);
ObjectId object_of(HostCall& call, dataset_handle set);

// The object of a kind at a path.
std::optional<ObjectId> find_object(HostCall& call, group_handle group, const char* path,
                                    ObjectKind kind);

// An absent attribute reads as 0 or as nothing. Numbers are converted between their
// types, and an array of one value reads as that value; a TreeError for the rest.
float read_float(DataTree& tree, ObjectId object, const std::string& name);
std::int64_t read_integer(DataTree& tree, ObjectId object, const std::string& name);
std::optional<std::string> read_text(DataTree& tree, ObjectId object, const std::string& name);

bool has_attribute(DataTree& tree, ObjectId object, const std::string& name);

} // namespace talvora::host
