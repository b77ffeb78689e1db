// Data sets: their properties and their samples.
#pragma once

#include "host/hdf5/hdf5_calls.h"

#include <optional>
#include <span>

namespace talvora::host::hdf5 {

Id set_type(hid_t set);
Id set_space(hid_t set);
Id set_properties(hid_t set);

// Where the samples of a set are, for people, when they are in another file ("its samples in the
// file 'samples.raw'") or kept in a way that this host does not know; empty for a set whose file
// holds them. No other file is looked at.
std::string describe_foreign_storage(hid_t set);

// False where samples may be read otherwise than they were written: a filter rounds them, or is one
// that this host does not know.
bool keeps_every_bit(hid_t set);

// A new set in chunks, which can be resized. With the properties of an older set given, its
// filters are kept.
Id create_float_set(hid_t group, const std::string& name, const Extents& extents,
                    std::optional<hid_t> older = {});
enum class SetUse {
    Whole, // each chunk is passed on as it is read or written, and none is kept
    Parts  // with a cache that holds many chunks, for lines across them
};
Id open_set(hid_t file, const std::string& path, SetUse use);
// Writes what the library still holds of the set's samples. An Id that is merely let go of loses
// them without a word when they cannot be written.
void close_set(Id set, std::string_view path);
void resize_set(hid_t set, const Extents& extents, std::string_view path);

// True when the set can take the extents as it is: in chunks that do not become too many,
// large enough at most, and new room in it reads as zero.
bool can_resize(hid_t set, const Extents& extents);

// `space` is the set's: what is selected in it changes. The slab is inside its extents.
void read_floats(hid_t set, hid_t space, const Hyperslab& slab, std::span<float> samples,
                 std::string_view path);
void write_floats(hid_t set, hid_t space, const Hyperslab& slab, std::span<const float> samples,
                  std::string_view path);

// What lies inside the counts from the beginning of one set to that of another.
void copy_floats(hid_t from, hid_t to, const Extents& counts, const std::string& path);

} // namespace talvora::host::hdf5
