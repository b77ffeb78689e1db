// Every call into the HDF5 library that the host makes: its status checked, and its
// stack of errors turned into one sentence. Failures are TreeErrors
// ("cannot open the file 'walk.h5': truncated file: ...").
//
// The library keeps global state without locks: one thread at a time.
#pragma once

#include "host/tree/data_tree.h"

#include <hdf5.h>

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace talvora::host::hdf5 {

// Owns one identifier of the library.
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

// Throws "cannot <action> '<object>': <the innermost error>", as a StorageError when the
// file could not be read or written.
[[noreturn]] void fail(std::string_view action, std::string_view object);

// The result of a call, negative ones being failures.
template <typename Result>
Result checked(Result result, std::string_view action, std::string_view object) {
    if (result < 0) {
        fail(action, object);
    }
    return result;
}

inline Id owned(hid_t id, std::string_view action, std::string_view object) {
    return Id(checked(id, action, object));
}

std::vector<hsize_t> to_hsize(std::span<const std::uint64_t> extents);

// ---------------------------------------------------------------------------
// Files

// New objects are written in the format of library version 1.8 or later.
Id create_file(const std::filesystem::path& file); // fails when it exists
// Says what is wrong with a file that is missing, empty, damaged, locked or another kind.
Id open_file(const std::filesystem::path& file, bool for_writing);
void flush_file(hid_t file, const std::filesystem::path& name);
void close_file(Id file, const std::filesystem::path& name);

// ---------------------------------------------------------------------------
// Links and objects

// Of what takes the place of a set or an attribute that is made anew, until it is complete.
constexpr char UNFINISHED_NAME[] = ".talvora-unfinished";

struct ObjectInfo {
    H5O_type_t type;
    haddr_t address; // tells objects of one file apart
    unsigned link_count;
};

bool link_exists(hid_t group, const std::string& name);
H5L_type_t link_type(hid_t group, const std::string& name);
// What a soft or external link says, for people.
std::string describe_link(hid_t group, const std::string& name);
std::vector<std::string> list_links(hid_t group); // by name
void delete_link(hid_t group, const std::string& name);
void rename_link(hid_t group, const std::string& from, const std::string& to);

// Soft links are followed; links into other files are not.
Id open_object(hid_t group, const std::string& path);
ObjectInfo object_info(hid_t object);
Id create_group(hid_t group, const std::string& name);

// ---------------------------------------------------------------------------
// Data spaces and types

Id make_space(std::span<const std::uint64_t> extents, bool resizable);
Id make_scalar_space();
Extents space_extents(hid_t space);
bool has_no_elements(hid_t space); // a null space, without even one value

// For people: "64-bit floats", "texts".
std::string describe_type(hid_t type);

// ---------------------------------------------------------------------------
// Data sets

Id set_type(hid_t set);
Id set_space(hid_t set);
Id set_properties(hid_t set);

// A property list for a set in chunks of this shape. With the properties of an older
// set given, its filters are kept.
Id chunked_properties(std::span<const std::uint64_t> chunk, std::optional<hid_t> older = {});
Id create_float_set(hid_t group, const std::string& name, hid_t space, hid_t properties);
enum class SetUse {
    Whole, // each chunk is passed on as it is read or written, and none is kept
    Parts  // with a cache that holds many chunks, for lines across them
};
Id open_set(hid_t file, const std::string& path, SetUse use);
void resize_set(hid_t set, const Extents& extents, std::string_view path);

// True when the set can take the extents as it is: in chunks that do not become too many,
// large enough at most, and new room in it reads as zero.
bool can_resize(hid_t set, const Extents& extents);

// `space` is the set's; its selection is changed.
void read_floats(hid_t set, hid_t space, const Hyperslab& slab, std::span<float> samples,
                 std::string_view path);
void write_floats(hid_t set, hid_t space, const Hyperslab& slab, std::span<const float> samples,
                  std::string_view path);

} // namespace talvora::host::hdf5
