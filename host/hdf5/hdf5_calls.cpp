#include "host/hdf5/hdf5_calls.h"

#include "host/hdf5/hdf5_error_stack.h"

#include <fmt/format.h>

#include <cstdio>

namespace talvora::host::hdf5 {

namespace {

herr_t keep_description(unsigned, const H5E_error2_t* error, void* text) {
    *static_cast<std::string*>(text) = error->desc == nullptr ? "" : error->desc;
    return 1; // the first one walked to is enough
}

herr_t keep_kind(unsigned, const H5E_error2_t* error, void* kind) {
    *static_cast<hid_t*>(kind) = error->maj_num;
    return 1;
}

// The innermost access to the file that failed, if that was it.
herr_t find_storage_access(unsigned, const H5E_error2_t* error, void* access) {
    auto& found = *static_cast<std::optional<StorageError::Access>*>(access);
    if (error->min_num == H5E_WRITEERROR) {
        found = StorageError::Access::Writing;
    }
    if (error->min_num == H5E_READERROR) {
        found = StorageError::Access::Reading;
    }
    return found ? 1 : 0;
}

std::optional<StorageError::Access> failed_access() {
    std::optional<StorageError::Access> access;
    H5Ewalk2(H5E_DEFAULT, H5E_WALK_UPWARD, find_storage_access, &access);
    return access;
}

bool prints_error_stacks = false;
bool suspects_shared_messages = false;

constexpr std::string_view SUSPICION =
    " (objects of the file share messages of their headers, which the HDF5 library may lose where "
    "one is changed; h5repack makes a copy that shares none)";

std::string_view describe_suspicion() {
    return suspects_shared_messages && !system_has_failed() ? SUSPICION : "";
}

hid_t make_naming(hid_t kind) {
    Id properties = make_properties(kind);
    checked(H5Pset_char_encoding(properties, H5T_CSET_UTF8), "set", "the encoding of names");
    return properties.release();
}

} // namespace

void suspect_shared_messages() {
    suspects_shared_messages = true;
}

void refuse_shared_messages(std::string_view action, std::string_view object) {
    if (suspects_shared_messages) {
        throw TreeError(fmt::format("cannot {} '{}'{}", action, object, SUSPICION));
    }
}

void print_error_stacks() {
    prints_error_stacks = true;
}

std::string innermost_error() {
    if (prints_error_stacks) {
        H5Eprint2(H5E_DEFAULT, stderr);
    }
    std::string text;
    H5Ewalk2(H5E_DEFAULT, H5E_WALK_UPWARD, keep_description, &text);
    return text.empty() ? "the HDF5 library gives no reason" : text;
}

bool system_has_failed() {
    hid_t kind = H5I_INVALID_HID;
    H5Ewalk2(H5E_DEFAULT, H5E_WALK_UPWARD, keep_kind, &kind);
    return kind == H5E_IO;
}

void fail(std::string_view action, std::string_view object) {
    const std::string text = fmt::format("cannot {} '{}': {}{}", action, object, innermost_error(),
                                         describe_suspicion());
    if (const auto access = failed_access()) {
        throw StorageError(*access, text);
    }
    throw TreeError(text);
}

Id share(hid_t open) {
    checked(H5Iinc_ref(open), "open", "once more");
    return Id(open);
}

Id make_properties(hid_t kind) {
    return owned(H5Pcreate(kind), "make", "a property list");
}

void leave_out_times(hid_t properties) {
    checked(H5Pset_obj_track_times(properties, false), "set", "object times");
}

Id creation_properties(hid_t kind) {
    Id properties = make_properties(kind);
    leave_out_times(properties);
    return properties;
}

hid_t link_naming() {
    static const hid_t properties = make_naming(H5P_LINK_CREATE);
    return properties;
}

hid_t attribute_naming() {
    static const hid_t properties = make_naming(H5P_ATTRIBUTE_CREATE);
    return properties;
}

} // namespace talvora::host::hdf5
