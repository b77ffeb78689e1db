// Data sets: their properties and their samples.
#pragma once

#include "host/hdf5/hdf5_calls.h"
#include "host/tree/line_roundings.h"
#include "host/tree/sample_type.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace talvora::host::hdf5 {

Id set_type(hid_t set);
Id set_space(hid_t set);
Id set_properties(hid_t set);

// Where the samples of a set are, for people, when they are in another file ("its samples in the
// file 'samples.raw'") or kept in a way that this host does not know; empty for a set whose file
// holds them. No other file is looked at.
std::string describe_foreign_storage(hid_t set);

// The files that its samples are in, where that is not the set's own.
std::vector<std::string> list_source_files(hid_t set);

// The paths of the data sets that a virtual one takes its samples from, as it names them, in
// whatever files; none of others. A '%' may stand for a number.
std::vector<std::string> list_virtual_source_sets(hid_t set);

// The value that a set gives where none was written, of its type; empty where it was given none.
// What it leads to, lists of varying length, is not given back.
std::vector<std::byte> read_fill_value(hid_t set, hid_t type);

// The first filter that this host does not know, for people ("the filter 32013 (zfp)"); empty where
// there is none.
std::string describe_unknown_filter(hid_t set);

// The first filter that does not keep 32-bit floats which are written, or written again: "the
// filter 4 (szip)"; empty where there is none.
std::string describe_unfit_filter(hid_t set);

// A new set of 32-bit floats in chunks, which can be resized.
Id create_float_set(hid_t group, const std::string& name, const Extents& extents);

enum class SetUse {
    Whole, // each chunk is passed on as it is read or written, and none is kept
    Parts  // with a cache that holds many chunks, for lines across them
};
Id open_set(hid_t file, const std::string& path, SetUse use);

// New sets of 32-bit floats without a name, to take the place of an older one whose properties are
// given: they have its filters, but that which rounds, and neither its samples nor its attributes.
// What gets no name is gone when it is closed.
//
// In chunks of its own, with other extents, of the same type; with the same fill value unless it
// grows, for new room reads as zero.
Id make_anew_resizable(hid_t file, hid_t older, hid_t older_properties, const Extents& extents);
// Of the same extents, layout and fill value, where the older one is of another type; what is too
// large for the header of an object then is laid out apart from it. A StorageError says that no
// 32-bit float can hold the fill value; `path` is for people.
Id make_narrow(hid_t file, hid_t older, hid_t older_properties, SampleType older_type, SetUse use,
               std::string_view path);

// Writes what the library still holds of the set's samples. An Id that is merely let go of loses
// them without a word when they cannot be written.
void close_set(Id set, std::string_view path);
void resize_set(hid_t set, const Extents& extents, std::string_view path);

// True when the set can take the extents as it is: in chunks that do not become too many,
// large enough at most, and new room in it, where there is some, reads as zero.
bool can_resize(hid_t set, const Extents& extents);

// Samples of a set of another type than 32-bit floats that are read and rounded at once: they stay
// in the second-level cache of the processor.
constexpr std::uint64_t ROUNDED_SAMPLES = std::uint64_t{128} * 1024;

// `space` is the set's: what is selected in it changes. The slab is inside its extents.
//
// A set of any type as 32-bit floats; what rounding to those changes is added to that of its lines.
// Throws a StorageError that names the first finite sample which is beyond all of them.
void read_floats(hid_t set, hid_t space, const Hyperslab& slab, SampleType type,
                 std::span<float> samples, std::string_view path, LineRoundings& roundings);
StoredSamples read_stored(hid_t set, hid_t space, const Hyperslab& slab, SampleType type,
                          std::string_view path);
// To a set of 32-bit floats.
void write_floats(hid_t set, hid_t space, const Hyperslab& slab, std::span<const float> samples,
                  std::string_view path);

// What lies inside the counts from the beginning of a set of any type to that of one of 32-bit
// floats; reads as read_floats does, and gives what rounding changes.
LineRoundings copy_floats(hid_t from, SampleType type, hid_t to, const Extents& counts,
                          const std::string& path);
// As copy_floats of the whole set, to nowhere.
LineRoundings measure_rounding(hid_t set, SampleType type, const Extents& extents,
                               const std::string& path);

} // namespace talvora::host::hdf5
