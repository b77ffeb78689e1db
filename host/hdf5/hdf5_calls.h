// What every call into the HDF5 library goes through: its status is checked, and the library's
// stack of errors turned into one sentence. Failures are TreeErrors
// ("cannot open the file 'walk.h5': truncated file: ...").
//
// This room alone calls the library: files (hdf5_files.h), links and objects (hdf5_links.h),
// references to them (hdf5_references.h), spaces and types (hdf5_types.h), data sets (hdf5_sets.h)
// and attributes (hdf5_attributes.h). Not checked are the calls about the stack of errors itself,
// and what a destructor or a clean-up after a failure lets go of: the first failure is the one to
// be told.
//
// The library keeps global state without locks: one thread at a time.
#pragma once

#include "host/system/work_state.h"
#include "host/tree/data_tree.h"

#include <hdf5.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace talvora::host::hdf5 {

// Owns one identifier of the library. Letting go of the last one of a file closes it, and a
// failure to write the rest then goes unheard: close_file is for those who have to know.
class Id {
  public:
    Id() = default;
    explicit Id(hid_t id) : id_(id) {}
    Id(const Id&) = delete;
    Id& operator=(const Id&) = delete;
    Id(Id&& other) noexcept : id_(std::exchange(other.id_, H5I_INVALID_HID)) {}
    Id& operator=(Id&& other) noexcept {
        std::swap(id_, other.id_);
        return *this;
    }
    ~Id() {
        if (id_ >= 0) {
            H5Idec_ref(id_);
        }
    }
    operator hid_t() const { return id_; }
    hid_t release() { return std::exchange(id_, H5I_INVALID_HID); }

  private:
    hid_t id_ = H5I_INVALID_HID;
};

// What the library says of the failure of its last call.
std::string innermost_error();

// Whether that was the system, which could not read or write the file, and not what the file holds.
bool system_has_failed();

// From now on a failure that is not the system's says that the library may be at fault: it loses
// messages of object headers that objects share where one of them is changed.
void suspect_shared_messages();

// Throws where that is so: for what the library does wrong there without a failure.
void refuse_shared_messages(std::string_view action, std::string_view object);

// Throws "cannot <action> '<object>': <the innermost error>", as a StorageError when the
// file could not be read or written.
[[noreturn]] void fail(std::string_view action, std::string_view object);

// The result of a call, negative ones being failures.
template <typename Result>
Result checked(Result result, std::string_view action, std::string_view object) {
    count_call();
    if (result < 0) {
        fail(action, object);
    }
    return result;
}

inline Id owned(hid_t id, std::string_view action, std::string_view object) {
    return Id(checked(id, action, object));
}

// A second owner of what is open.
Id share(hid_t open);

// ---------------------------------------------------------------------------
// Property lists. Making one is a good part of what it costs to open an object: those that are
// always alike are made once, and kept until the process ends.

Id make_properties(hid_t kind);
// The same input gives the same bytes: no times in the objects.
void leave_out_times(hid_t properties);
// Of files, groups and data sets.
Id creation_properties(hid_t kind);
// Of what gives an object or an attribute its name, which is UTF-8.
hid_t link_naming();
hid_t attribute_naming();

} // namespace talvora::host::hdf5
