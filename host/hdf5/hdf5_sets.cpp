#include "host/hdf5/hdf5_sets.h"

#include "host/hdf5/hdf5_types.h"
#include "host/tree/slabs.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <iterator>
#include <limits>
#include <type_traits>

namespace talvora::host::hdf5 {

namespace {

// Large enough for the chunks that a line along a slow axis crosses in usual files.
constexpr std::size_t CHUNK_CACHE_BYTES = 64UL << 20;
constexpr std::size_t CHUNK_CACHE_SLOTS = 12'421; // a prime, as the library asks for

// A quarter of a mebibyte per chunk: large enough to be read at once at full speed,
// small enough that a line through a few hundred of them stays in the cache.
constexpr std::uint64_t CHUNK_SAMPLES = std::uint64_t{64} * 1024;

// As much of the fast dimensions as fits a chunk. A dimension without samples will grow:
// it gets as much room as is left.
Extents choose_chunk(const Extents& extents) {
    Extents chunk(extents.size(), 1);
    std::uint64_t room = CHUNK_SAMPLES;
    for (std::size_t d = extents.size(); d-- > 0;) {
        chunk[d] = extents[d] == 0 ? room : std::min(extents[d], room);
        room /= chunk[d];
    }
    return chunk;
}

void set_chunks(hid_t properties, std::span<const std::uint64_t> chunk) {
    leave_out_times(properties);
    checked(H5Pset_chunk(properties, static_cast<int>(chunk.size()), to_hsize(chunk).data()), "set",
            "the shape of chunks");
}

void let_new_room_be_zero(hid_t properties) {
    const float zero = 0;
    checked(H5Pset_fill_value(properties, H5T_NATIVE_FLOAT, &zero), "set", "the fill value");
    checked(H5Pset_fill_time(properties, H5D_FILL_TIME_IFSET), "set", "when samples are filled");
}

// Of sets that are never filled the library loses what was written, in some ways of keeping chunks.
void let_room_be_filled(hid_t properties) {
    H5D_fill_time_t time{};
    checked(H5Pget_fill_time(properties, &time), "read", "when samples are filled");
    if (time == H5D_FILL_TIME_NEVER) {
        checked(H5Pset_fill_time(properties, H5D_FILL_TIME_IFSET), "set",
                "when samples are filled");
    }
}

Id new_set_properties(const Extents& extents) {
    Id properties = make_properties(H5P_DATASET_CREATE);
    set_chunks(properties, choose_chunk(extents));
    let_new_room_be_zero(properties);
    return properties;
}

// A block in memory with the dimensions of the slab: between selections of the same shape
// the library copies whole chunks, from a flat block it would go line by line.
Id block_space(const Hyperslab& slab) {
    return make_space(slab.counts, false);
}

void select_slab(hid_t space, const Hyperslab& slab, std::string_view path) {
    Words starts{};
    Words counts{};
    std::ranges::copy(slab.starts, starts.begin());
    std::ranges::copy(slab.counts, counts.begin());
    checked(
        H5Sselect_hyperslab(space, H5S_SELECT_SET, starts.data(), nullptr, counts.data(), nullptr),
        "select samples of", path);
}

H5D_layout_t set_layout(hid_t properties) {
    return checked(H5Pget_layout(properties), "read", "the layout of a data set");
}

bool new_room_is_zero(hid_t properties) {
    H5D_fill_time_t time{};
    H5D_fill_value_t status{};
    checked(H5Pget_fill_time(properties, &time), "read", "when samples are filled");
    checked(H5Pfill_value_defined(properties, &status), "read", "the fill value");
    if (time == H5D_FILL_TIME_NEVER || status == H5D_FILL_VALUE_UNDEFINED) {
        return false;
    }
    float value = 0;
    checked(H5Pget_fill_value(properties, H5T_NATIVE_FLOAT, &value), "read", "the fill value");
    return value == 0 && !std::signbit(value);
}

bool fits_max_extents(hid_t set, const Extents& extents) {
    Words most{};
    checked(H5Sget_simple_extent_dims(set_space(set), nullptr, most.data()), "read", "extents");
    return std::ranges::equal(extents, std::span(most).first(extents.size()), std::less_equal());
}

bool has_new_room(hid_t set, const Extents& extents) {
    return !std::ranges::equal(extents, space_extents(set_space(set)), std::less_equal());
}

// Each chunk costs an entry in an index, and a read and a write of its own: a set that
// was made for a few samples cannot take millions.
bool has_sane_chunks(hid_t properties, const Extents& extents) {
    constexpr std::uint64_t SMALL_CHUNK = 1024;
    constexpr std::uint64_t MANY_CHUNKS = std::uint64_t{16} * 1024;
    Words chunk{};
    checked(H5Pget_chunk(properties, MAX_RANK, chunk.data()), "read", "the shape of chunks");
    const Extents used(chunk.begin(), chunk.begin() + std::ssize(extents));
    const std::uint64_t chunk_samples = count_samples(used);
    return chunk_samples >= SMALL_CHUNK || count_samples(extents) / chunk_samples < MANY_CHUNKS;
}

constexpr std::size_t MAX_FILE_NAME = 4096;

std::string external_file(hid_t properties, unsigned position) {
    std::array<char, MAX_FILE_NAME> name{};
    off_t offset = 0;
    hsize_t byte_count = 0;
    checked(
        H5Pget_external(properties, position, name.size() - 1, name.data(), &offset, &byte_count),
        "read", "where samples are");
    return name.data();
}

std::string virtual_source(hid_t properties, std::size_t position) {
    std::array<char, MAX_FILE_NAME> name{};
    checked(H5Pget_virtual_filename(properties, position, name.data(), name.size() - 1), "read",
            "where samples are");
    return name.data();
}

std::string virtual_source_set(hid_t properties, std::size_t position) {
    std::array<char, MAX_FILE_NAME> path{};
    checked(H5Pget_virtual_dsetname(properties, position, path.data(), path.size() - 1), "read",
            "where samples are");
    return path.data();
}

std::vector<std::string> list_external_files(hid_t properties) {
    const int count = checked(H5Pget_external_count(properties), "read", "where samples are");
    std::vector<std::string> files;
    files.reserve(static_cast<std::size_t>(count));
    for (int position = 0; position < count; ++position) {
        files.push_back(external_file(properties, static_cast<unsigned>(position)));
    }
    return files;
}

std::vector<std::string> list_virtual_sources(hid_t properties) {
    std::size_t count = 0;
    checked(H5Pget_virtual_count(properties, &count), "read", "where samples are");
    std::vector<std::string> files;
    for (std::size_t position = 0; position < count; ++position) {
        files.push_back(virtual_source(properties, position));
    }
    return files;
}

std::string first_of(const std::vector<std::string>& files) {
    return files.empty() ? "" : files.front();
}

constexpr H5Z_filter_t LZF = 32'000;
constexpr H5Z_filter_t KNOWN_FILTERS[] = {H5Z_FILTER_DEFLATE,
                                          H5Z_FILTER_SHUFFLE,
                                          H5Z_FILTER_FLETCHER32,
                                          H5Z_FILTER_SZIP,
                                          H5Z_FILTER_NBIT,
                                          H5Z_FILTER_SCALEOFFSET,
                                          LZF};

struct SetFilter {
    H5Z_filter_t id = 0;
    std::string name; // as the file has it
    unsigned flags = 0;
    std::vector<unsigned> values;
};

constexpr std::size_t MAX_FILTER_NAME = 256; // what is longer is cut

SetFilter filter_at(hid_t properties, unsigned position) {
    SetFilter filter;
    std::array<char, MAX_FILTER_NAME> name{};
    unsigned configuration = 0;
    std::size_t value_count = 0;
    const auto read = [&] {
        return checked(H5Pget_filter2(properties, position, &filter.flags, &value_count,
                                      filter.values.data(), name.size() - 1, name.data(),
                                      &configuration),
                       "read", "the filters of a data set");
    };
    filter.id = read();
    filter.values.resize(value_count);
    read();
    filter.name = name.data();
    return filter;
}

std::vector<SetFilter> list_filters(hid_t properties) {
    const int count = checked(H5Pget_nfilters(properties), "read", "the filters of a data set");
    std::vector<SetFilter> filters;
    filters.reserve(static_cast<std::size_t>(count));
    for (int position = 0; position < count; ++position) {
        filters.push_back(filter_at(properties, static_cast<unsigned>(position)));
    }
    return filters;
}

bool is_known(const SetFilter& filter) {
    return std::ranges::find(KNOWN_FILTERS, filter.id) != std::end(KNOWN_FILTERS);
}

bool is_available(const SetFilter& filter) {
    return H5Zfilter_avail(filter.id) > 0;
}

// The first that is not so, of those that a set goes through: "the filter 32000 (lzf)".
std::string describe_first_without(hid_t set, bool (*has_quality)(const SetFilter&)) {
    const std::vector<SetFilter> filters = list_filters(set_properties(set));
    const auto found = std::ranges::find_if_not(filters, has_quality);
    if (found == filters.end()) {
        return "";
    }
    return found->name.empty() ? fmt::format("the filter {}", found->id)
                               : fmt::format("the filter {} ({})", found->id, found->name);
}

void refuse_missing_filter(hid_t set, std::string_view path) {
    if (const std::string filter = describe_first_without(set, is_available); !filter.empty()) {
        throw StorageError(StorageError::Access::Reading,
                           fmt::format("cannot read '{}': it went through {}, which the HDF5 "
                                       "library here does not have (h5repack makes a copy without "
                                       "where it is there)",
                                       path, filter));
    }
}

hid_t make_set_access(std::size_t slot_count, std::size_t byte_count) {
    Id access = make_properties(H5P_DATASET_ACCESS);
    checked(H5Pset_chunk_cache(access, slot_count, byte_count, H5D_CHUNK_CACHE_W0_DEFAULT), "set",
            "the cache of chunks");
    return access.release();
}

// Whole sets pass by the cache of chunks.
hid_t whole_access() {
    static const hid_t access = make_set_access(0, 0);
    return access;
}

hid_t parts_access() {
    static const hid_t access = make_set_access(CHUNK_CACHE_SLOTS, CHUNK_CACHE_BYTES);
    return access;
}

hid_t set_access(SetUse use) {
    return use == SetUse::Parts ? parts_access() : whole_access();
}

// Samples that are copied at once.
constexpr std::uint64_t BUFFER_SAMPLES = std::uint64_t{4} * 1024 * 1024;

template <typename Stored>
hid_t memory_type() {
    if constexpr (std::is_same_v<Stored, float>) {
        return H5T_NATIVE_FLOAT;
    } else if constexpr (std::is_same_v<Stored, double>) {
        return H5T_NATIVE_DOUBLE;
    } else if constexpr (std::is_same_v<Stored, std::int32_t>) {
        return H5T_NATIVE_INT32;
    } else if constexpr (std::is_same_v<Stored, std::int64_t>) {
        return H5T_NATIVE_INT64;
    } else {
        static_assert(std::is_same_v<Stored, std::uint64_t>);
        return H5T_NATIVE_UINT64;
    }
}

// True for 64-bit floats in the other byte order. The library takes longer to turn them than the
// rest of reading takes.
bool is_turned_double(hid_t set) {
    return checked(H5Tequal(set_type(set), H5T_IEEE_F64BE), "compare", "types") > 0 &&
           std::endian::native == std::endian::little;
}

void turn_bytes(std::span<double> samples) {
    for (double& sample : samples) {
        sample = std::bit_cast<double>(__builtin_bswap64(std::bit_cast<std::uint64_t>(sample)));
    }
}

template <typename Stored>
void read_slab(hid_t set, hid_t space, const Hyperslab& slab, std::span<Stored> samples,
               std::string_view path) {
    const bool turned = std::is_same_v<Stored, double> && is_turned_double(set);
    const hid_t type = turned ? H5T_IEEE_F64BE : memory_type<Stored>();
    select_slab(space, slab, path);
    try {
        checked(H5Dread(set, type, block_space(slab), space, H5P_DEFAULT, samples.data()), "read",
                path);
    } catch (const TreeError&) {
        refuse_missing_filter(set, path); // the library does not say so
        throw;
    }
    if constexpr (std::is_same_v<Stored, double>) {
        if (turned) {
            turn_bytes(samples);
        }
    }
}

// The indices of a sample of a slab in the whole set.
Extents indices_of(std::uint64_t position, const Hyperslab& slab) {
    Extents indices(slab.starts.begin(), slab.starts.end());
    for (std::size_t d = indices.size(); d-- > 0;) {
        indices[d] += position % slab.counts[d];
        position /= slab.counts[d];
    }
    return indices;
}

template <typename Stored>
bool overflows(Stored stored, float rounded) {
    return std::isinf(rounded) && !std::isinf(static_cast<double>(stored));
}

[[noreturn]] void refuse_overflow(const std::string& what) {
    throw StorageError(StorageError::Access::Reading,
                       fmt::format("{}, which no 32-bit float can hold (allowed: {} to {})", what,
                                   std::numeric_limits<float>::lowest(),
                                   std::numeric_limits<float>::max()));
}

template <typename Stored>
[[noreturn]] void refuse_overflow(std::span<const Stored> stored, std::span<const float> rounded,
                                  const Hyperslab& slab, std::string_view path) {
    std::size_t position = 0;
    while (!overflows(stored[position], rounded[position])) {
        ++position;
    }
    refuse_overflow(fmt::format("'{}' holds {} at {}", path, stored[position],
                                describe_extents(indices_of(position, slab))));
}

// The library would convert itself, but otherwise where its types differ in byte order or a sample
// is next to the greatest float.
template <typename Stored>
void read_rounded(hid_t set, hid_t space, const Hyperslab& slab, std::span<float> samples,
                  std::string_view path, LineRoundings& roundings) {
    std::vector<Stored> stored;
    Extents starts(slab.starts.size());
    const Extents counts(slab.counts.begin(), slab.counts.end());
    visit_slabs(counts, ROUNDED_SAMPLES, [&](const Hyperslab& part, std::uint64_t count) {
        std::ranges::transform(slab.starts, part.starts, starts.begin(), std::plus());
        const Hyperslab read{starts, part.counts};
        stored.resize(count);
        read_slab<Stored>(set, space, read, stored, path);
        const std::span<float> rounded = samples.first(count);
        const RoundingChange change = roundings.round<Stored>(read, stored, rounded);
        if (std::isinf(change.largest_change)) {
            refuse_overflow<Stored>(stored, rounded, read, path);
        }
        samples = samples.subspan(count);
    });
}

// Scale and offset takes integers as they are, and rounds floats. Packing bits finds none to leave
// out of 32-bit floats, and behind others the library packs them wrongly. The other two pass chunks
// by that they cannot make smaller; when such a chunk is written again, or cut, the library (1.10)
// forgets whether they did.
constexpr H5Z_filter_t UNFIT_FILTERS[] = {H5Z_FILTER_SCALEOFFSET, H5Z_FILTER_NBIT, H5Z_FILTER_SZIP,
                                          LZF};

bool is_fit(const SetFilter& filter) {
    return std::ranges::find(UNFIT_FILTERS, filter.id) == std::end(UNFIT_FILTERS);
}

// The library crashes where one is removed that has others behind it: all are, and the others set
// again.
void leave_out_unfit_filters(hid_t properties) {
    const std::vector<SetFilter> filters = list_filters(properties);
    if (std::ranges::all_of(filters, is_fit)) {
        return;
    }
    checked(H5Premove_filter(properties, H5Z_FILTER_ALL), "remove", "the filters of a data set");
    for (const SetFilter& filter : filters) {
        if (is_fit(filter)) {
            checked(H5Pset_filter(properties, filter.id, filter.flags, filter.values.size(),
                                  filter.values.data()),
                    "set", "the filters of a data set");
        }
    }
}

// The samples of a compact set stand in the header of the object, which has little room.
void lay_out_large(hid_t properties, const Extents& extents) {
    constexpr std::uint64_t MAX_COMPACT_SAMPLES = 16'000;
    if (set_layout(properties) == H5D_COMPACT && count_samples(extents) > MAX_COMPACT_SAMPLES) {
        checked(H5Pset_layout(properties, H5D_CONTIGUOUS), "set", "the layout of a data set");
    }
}

bool has_fill_value(hid_t properties) {
    H5D_fill_value_t status{};
    checked(H5Pfill_value_defined(properties, &status), "read", "the fill value");
    return status == H5D_FILL_VALUE_USER_DEFINED;
}

void round_fill_value(hid_t properties, SampleType type, std::string_view path) {
    if (!has_fill_value(properties)) {
        return;
    }
    with_stored_type(type, [&]<typename Stored>(Stored stored) {
        checked(H5Pget_fill_value(properties, memory_type<Stored>(), &stored), "read",
                "the fill value");
        const auto rounded = static_cast<float>(stored);
        if (overflows(stored, rounded)) {
            refuse_overflow(fmt::format("the fill value of '{}' is {}", path, stored));
        }
        checked(H5Pset_fill_value(properties, H5T_NATIVE_FLOAT, &rounded), "set", "the fill value");
    });
}

// Calls `take(slab, samples)` with all samples inside the counts, part by part.
template <typename Take>
LineRoundings visit_floats(hid_t set, SampleType type, const Extents& counts,
                           const std::string& path, const Take& take) {
    const Id space = set_space(set);
    LineRoundings roundings(counts);
    std::vector<float> samples;
    visit_slabs(counts, BUFFER_SAMPLES, [&](const Hyperslab& slab, std::uint64_t count) {
        samples.resize(count);
        read_floats(set, space, slab, type, samples, path, roundings);
        take(slab, samples);
    });
    return roundings;
}

} // namespace

Id set_type(hid_t set) {
    return owned(H5Dget_type(set), "read", "the type of a data set");
}

Id set_space(hid_t set) {
    return owned(H5Dget_space(set), "read", "the extents of a data set");
}

Id set_properties(hid_t set) {
    return owned(H5Dget_create_plist(set), "read", "the properties of a data set");
}

// A layout that some later version of the library adds may lead anywhere.
std::string describe_foreign_storage(hid_t set) {
    const Id properties = set_properties(set);
    switch (set_layout(properties)) {
    case H5D_COMPACT:
    case H5D_CHUNKED:
        return "";
    case H5D_CONTIGUOUS: {
        const auto files = list_external_files(properties);
        return files.empty() ? "" : fmt::format("its samples in the file '{}'", files.front());
    }
    case H5D_VIRTUAL:
        return fmt::format("virtual, of samples in the file '{}'",
                           first_of(list_virtual_sources(properties)));
    default:
        return "its samples kept in an unknown way";
    }
}

std::vector<std::string> list_source_files(hid_t set) {
    const Id properties = set_properties(set);
    switch (set_layout(properties)) {
    case H5D_CONTIGUOUS:
        return list_external_files(properties);
    case H5D_VIRTUAL:
        return list_virtual_sources(properties);
    default:
        return {};
    }
}

std::vector<std::string> list_virtual_source_sets(hid_t set) {
    const Id properties = set_properties(set);
    std::vector<std::string> paths;
    if (set_layout(properties) != H5D_VIRTUAL) {
        return paths;
    }
    std::size_t count = 0;
    checked(H5Pget_virtual_count(properties, &count), "read", "where samples are");
    paths.reserve(count);
    for (std::size_t position = 0; position < count; ++position) {
        paths.push_back(virtual_source_set(properties, position));
    }
    return paths;
}

std::vector<std::byte> read_fill_value(hid_t set, hid_t type) {
    const Id properties = set_properties(set);
    std::vector<std::byte> value(has_fill_value(properties) ? type_size(type) : 0);
    if (!value.empty()) {
        checked(H5Pget_fill_value(properties, type, value.data()), "read", "the fill value");
    }
    return value;
}

std::string describe_unknown_filter(hid_t set) {
    return describe_first_without(set, is_known);
}

std::string describe_unfit_filter(hid_t set) {
    return describe_first_without(set, is_fit);
}

Id create_float_set(hid_t group, const std::string& name, const Extents& extents) {
    return owned(H5Dcreate2(group, name.c_str(), H5T_IEEE_F32LE, make_space(extents, true),
                            link_naming(), new_set_properties(extents), whole_access()),
                 "create the data set", name);
}

Id open_set(hid_t file, const std::string& path, SetUse use) {
    return owned(H5Dopen2(file, path.c_str(), set_access(use)), "open the data set", path);
}

// It is filled slab by slab, chunks of any shape.
Id make_anew_resizable(hid_t file, hid_t older, hid_t older_properties, const Extents& extents) {
    const Id properties = owned(H5Pcopy(older_properties), "copy", "the properties of a data set");
    set_chunks(properties, choose_chunk(extents));
    let_room_be_filled(properties);
    if (has_new_room(older, extents)) {
        let_new_room_be_zero(properties);
    }
    return owned(
        H5Dcreate_anon(file, set_type(older), make_space(extents, true), properties, H5P_DEFAULT),
        "create", "a data set");
}

Id make_narrow(hid_t file, hid_t older, hid_t older_properties, SampleType older_type, SetUse use,
               std::string_view path) {
    const Id properties = owned(H5Pcopy(older_properties), "copy", "the properties of a data set");
    leave_out_times(properties);
    leave_out_unfit_filters(properties);
    let_room_be_filled(properties);
    round_fill_value(properties, older_type, path);
    lay_out_large(properties, space_extents(set_space(older)));
    return owned(
        H5Dcreate_anon(file, H5T_IEEE_F32LE, set_space(older), properties, set_access(use)),
        "create", "a data set");
}

void close_set(Id set, std::string_view path) {
    checked(H5Dclose(set.release()), "write", path);
}

void resize_set(hid_t set, const Extents& extents, std::string_view path) {
    checked(H5Dset_extent(set, to_hsize(extents).data()), "resize", path);
}

bool can_resize(hid_t set, const Extents& extents) {
    const Id properties = set_properties(set);
    return set_layout(properties) == H5D_CHUNKED && fits_max_extents(set, extents) &&
           (!has_new_room(set, extents) || new_room_is_zero(properties)) &&
           has_sane_chunks(properties, extents);
}

void read_floats(hid_t set, hid_t space, const Hyperslab& slab, SampleType type,
                 std::span<float> samples, std::string_view path, LineRoundings& roundings) {
    with_stored_type(type, [&]<typename Stored>(Stored) {
        if constexpr (std::is_same_v<Stored, float>) {
            read_slab(set, space, slab, samples, path);
        } else {
            read_rounded<Stored>(set, space, slab, samples, path, roundings);
        }
    });
}

StoredSamples read_stored(hid_t set, hid_t space, const Hyperslab& slab, SampleType type,
                          std::string_view path) {
    return with_stored_type(type, [&]<typename Stored>(Stored) -> StoredSamples {
        std::vector<Stored> samples = make_sample_room<Stored>(slab.counts, path);
        if (!samples.empty()) {
            read_slab<Stored>(set, space, slab, samples, path);
        }
        return samples;
    });
}

void write_floats(hid_t set, hid_t space, const Hyperslab& slab, std::span<const float> samples,
                  std::string_view path) {
    select_slab(space, slab, path);
    checked(H5Dwrite(set, H5T_NATIVE_FLOAT, block_space(slab), space, H5P_DEFAULT, samples.data()),
            "write", path);
}

LineRoundings copy_floats(hid_t from, SampleType type, hid_t to, const Extents& counts,
                          const std::string& path) {
    const Id to_space = set_space(to);
    return visit_floats(from, type, counts, path,
                        [&](const Hyperslab& slab, std::span<const float> samples) {
                            write_floats(to, to_space, slab, samples, path);
                        });
}

LineRoundings measure_rounding(hid_t set, SampleType type, const Extents& extents,
                               const std::string& path) {
    return visit_floats(set, type, extents, path, [](const Hyperslab&, std::span<const float>) {});
}

} // namespace talvora::host::hdf5
