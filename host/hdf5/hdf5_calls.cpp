#include "host/hdf5/hdf5_calls.h"

#include "host/hdf5/hdf5_error_stack.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace talvora::host::hdf5 {

namespace {

// Large enough for the chunks that a line along a slow axis crosses in usual files.
constexpr std::size_t CHUNK_CACHE_BYTES = 64UL << 20;
constexpr std::size_t CHUNK_CACHE_SLOTS = 12'421; // a prime, as the library asks for

// The library prints its errors by itself unless it is told not to. At the end of the
// process it would close files again that it could not write before, and crash: ours are
// closed by then, or not worth it.
void tame_library() {
    H5dont_atexit();
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
}

herr_t keep_description(unsigned, const H5E_error2_t* error, void* text) {
    *static_cast<std::string*>(text) = error->desc == nullptr ? "" : error->desc;
    return 1; // the first one walked to is enough
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

std::string innermost_error() {
    if (prints_error_stacks) {
        H5Eprint2(H5E_DEFAULT, stderr);
    }
    std::string text;
    H5Ewalk2(H5E_DEFAULT, H5E_WALK_UPWARD, keep_description, &text);
    return text.empty() ? "the HDF5 library gives no reason" : text;
}

Id make_properties(hid_t kind) {
    return owned(H5Pcreate(kind), "make", "a property list");
}

// The same input gives the same bytes: no times in the objects.
void leave_out_times(hid_t properties) {
    checked(H5Pset_obj_track_times(properties, false), "set", "object times");
}

Id creation_properties(hid_t kind) {
    Id properties = make_properties(kind);
    leave_out_times(properties);
    return properties;
}

Id link_creation() {
    Id properties = make_properties(H5P_LINK_CREATE);
    checked(H5Pset_char_encoding(properties, H5T_CSET_UTF8), "set", "the encoding of names");
    return properties;
}

// Closing the file closes all that is open in it, so that a close is a close.
Id file_access() {
    Id properties = make_properties(H5P_FILE_ACCESS);
    checked(H5Pset_fclose_degree(properties, H5F_CLOSE_STRONG), "set", "how to close files");
    checked(H5Pset_libver_bounds(properties, H5F_LIBVER_V18, H5F_LIBVER_LATEST), "set",
            "the format of files");
    return properties;
}

herr_t refuse_external_link(const char*, const char*, const char*, const char*, unsigned*, hid_t,
                            void*) {
    return -1;
}

Id link_access() {
    Id properties = make_properties(H5P_LINK_ACCESS);
    checked(H5Pset_elink_cb(properties, refuse_external_link, nullptr), "set",
            "how to follow links");
    return properties;
}

herr_t append_name(hid_t, const char* name, const H5L_info_t*, void* names) {
    static_cast<std::vector<std::string>*>(names)->emplace_back(name);
    return 0;
}

H5L_info_t link_info(hid_t group, const std::string& name) {
    H5L_info_t info{};
    checked(H5Lget_info(group, name.c_str(), &info, H5P_DEFAULT), "read the link", name);
    return info;
}

[[noreturn]] void refuse_file(const std::filesystem::path& file, std::string_view reason) {
    throw TreeError(fmt::format("cannot open the file '{}': {}", file.string(), reason));
}

// What a text begins with, as it tells best what the file is.
std::string describe_beginning(const std::filesystem::path& file) {
    constexpr std::size_t MAX_SHOWN = 40;
    const auto is_printable = [](char c) { return c >= ' ' && c <= '~'; };
    std::string line;
    std::getline(std::ifstream(file, std::ios::binary), line);
    if (line.ends_with('\r')) {
        line.pop_back();
    }
    line.resize(std::min(line.size(), MAX_SHOWN));
    return line.empty() || !std::ranges::all_of(line, is_printable)
               ? ""
               : fmt::format(": it begins with '{}'", line);
}

void check_file(const std::filesystem::path& file) {
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (!std::filesystem::exists(status)) {
        refuse_file(file, "there is no such file");
    }
    if (std::filesystem::is_directory(status)) {
        refuse_file(file, "it is a folder");
    }
    if (!std::filesystem::is_regular_file(status)) {
        refuse_file(file, "it is no regular file");
    }
    if (std::filesystem::file_size(file, error) == 0) {
        refuse_file(file, "it is empty");
    }
    if (checked(H5Fis_hdf5(file.c_str()), "open the file", file.string()) == 0) {
        refuse_file(file, "it is not an HDF5 file" + describe_beginning(file));
    }
}

using Words = std::array<hsize_t, MAX_RANK>;

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

} // namespace

void print_error_stacks() {
    prints_error_stacks = true;
}

void fail(std::string_view action, std::string_view object) {
    const std::string text = fmt::format("cannot {} '{}': {}", action, object, innermost_error());
    if (const auto access = failed_access()) {
        throw StorageError(*access, text);
    }
    throw TreeError(text);
}

std::vector<hsize_t> to_hsize(std::span<const std::uint64_t> extents) {
    return {extents.begin(), extents.end()};
}

Id create_file(const std::filesystem::path& file) {
    tame_library();
    return owned(
        H5Fcreate(file.c_str(), H5F_ACC_EXCL, creation_properties(H5P_FILE_CREATE), file_access()),
        "create the file", file.string());
}

Id open_file(const std::filesystem::path& file, bool for_writing) {
    tame_library();
    check_file(file);
    const Id access = file_access(); // letting it go would clear the stack of errors
    Id opened(H5Fopen(file.c_str(), for_writing ? H5F_ACC_RDWR : H5F_ACC_RDONLY, access));
    if (opened >= 0) {
        return opened;
    }
    const std::string reason = innermost_error();
    if (reason.starts_with(fmt::format("unable to lock file, errno = {},", EAGAIN))) {
        refuse_file(file, "another program has it open: " + reason);
    }
    refuse_file(file, reason);
}

void flush_file(hid_t file, const std::filesystem::path& name) {
    checked(H5Fflush(file, H5F_SCOPE_GLOBAL), "write the file", name.string());
}

void close_file(Id file, const std::filesystem::path& name) {
    checked(H5Fclose(file.release()), "close the file", name.string());
}

bool link_exists(hid_t group, const std::string& name) {
    return checked(H5Lexists(group, name.c_str(), H5P_DEFAULT), "look for", name) > 0;
}

H5L_type_t link_type(hid_t group, const std::string& name) {
    return link_info(group, name).type;
}

std::string describe_link(hid_t group, const std::string& name) {
    const H5L_info_t info = link_info(group, name);
    if (info.type == H5L_TYPE_HARD) {
        return "an object that cannot be read";
    }
    std::vector<char> value(info.u.val_size + 1);
    checked(H5Lget_val(group, name.c_str(), value.data(), info.u.val_size, H5P_DEFAULT),
            "read the link", name);
    if (info.type == H5L_TYPE_SOFT) {
        return fmt::format("link to '{}', where no object can be opened", value.data());
    }
    const char* file = nullptr;
    const char* path = nullptr;
    if (info.type != H5L_TYPE_EXTERNAL ||
        H5Lunpack_elink_val(value.data(), info.u.val_size, nullptr, &file, &path) < 0) {
        return "link of an unknown type";
    }
    return fmt::format("link to '{}' in the file '{}'", path, file);
}

std::vector<std::string> list_links(hid_t group) {
    std::vector<std::string> names;
    hsize_t position = 0;
    checked(H5Literate(group, H5_INDEX_NAME, H5_ITER_INC, &position, append_name, &names), "list",
            "a group");
    std::ranges::sort(names);
    return names;
}

void delete_link(hid_t group, const std::string& name) {
    checked(H5Ldelete(group, name.c_str(), H5P_DEFAULT), "delete", name);
}

void rename_link(hid_t group, const std::string& from, const std::string& to) {
    checked(H5Lmove(group, from.c_str(), group, to.c_str(), link_creation(), H5P_DEFAULT), "rename",
            from);
}

Id open_object(hid_t group, const std::string& path) {
    return owned(H5Oopen(group, path.c_str(), link_access()), "open", path);
}

ObjectInfo object_info(hid_t object) {
    H5O_info_t info{};
    checked(H5Oget_info2(object, &info, H5O_INFO_BASIC), "read", "an object");
    return {info.type, info.addr, info.rc};
}

Id create_group(hid_t group, const std::string& name) {
    return owned(H5Gcreate2(group, name.c_str(), link_creation(),
                            creation_properties(H5P_GROUP_CREATE), H5P_DEFAULT),
                 "create the group", name);
}

Id make_space(std::span<const std::uint64_t> extents, bool resizable) {
    const std::vector<hsize_t> now = to_hsize(extents);
    const std::vector<hsize_t> most(extents.size(), H5S_UNLIMITED);
    return owned(H5Screate_simple(static_cast<int>(extents.size()), now.data(),
                                  resizable ? most.data() : nullptr),
                 "make extents", describe_extents(extents));
}

Id make_scalar_space() {
    return owned(H5Screate(H5S_SCALAR), "make", "a scalar");
}

Extents space_extents(hid_t space) {
    Words extents{};
    const int rank =
        checked(H5Sget_simple_extent_dims(space, extents.data(), nullptr), "read", "extents");
    return {extents.begin(), extents.begin() + rank};
}

bool has_no_elements(hid_t space) {
    return H5Sget_simple_extent_type(space) == H5S_NULL;
}

std::string describe_type(hid_t type) {
    const std::size_t bits = 8 * H5Tget_size(type);
    switch (H5Tget_class(type)) {
    case H5T_INTEGER:
        return fmt::format("{}{}-bit integers",
                           H5Tget_sign(type) == H5T_SGN_NONE ? "unsigned " : "", bits);
    case H5T_FLOAT:
        return fmt::format("{}-bit floats", bits);
    case H5T_STRING:
        return "texts";
    case H5T_ENUM:
        return "enumerated values";
    case H5T_COMPOUND:
        return "compound values";
    case H5T_REFERENCE:
        return "references";
    case H5T_ARRAY:
        return "arrays";
    case H5T_VLEN:
        return "lists of varying length";
    case H5T_BITFIELD:
        return fmt::format("{}-bit fields", bits);
    default:
        return "values of an unknown type";
    }
}

Id set_type(hid_t set) {
    return owned(H5Dget_type(set), "read", "the type of a data set");
}

Id set_space(hid_t set) {
    return owned(H5Dget_space(set), "read", "the extents of a data set");
}

Id set_properties(hid_t set) {
    return owned(H5Dget_create_plist(set), "read", "the properties of a data set");
}

Id chunked_properties(std::span<const std::uint64_t> chunk, std::optional<hid_t> older) {
    Id properties = older ? owned(H5Pcopy(*older), "copy", "the properties of a data set")
                          : make_properties(H5P_DATASET_CREATE);
    leave_out_times(properties);
    const float zero = 0;
    checked(H5Pset_chunk(properties, static_cast<int>(chunk.size()), to_hsize(chunk).data()), "set",
            "the shape of chunks");
    checked(H5Pset_fill_value(properties, H5T_NATIVE_FLOAT, &zero), "set", "the fill value");
    checked(H5Pset_fill_time(properties, H5D_FILL_TIME_IFSET), "set", "when samples are filled");
    return properties;
}

Id create_float_set(hid_t group, const std::string& name, hid_t space, hid_t properties) {
    return owned(H5Dcreate2(group, name.c_str(), H5T_IEEE_F32LE, space, link_creation(), properties,
                            H5P_DEFAULT),
                 "create the data set", name);
}

Id open_set(hid_t file, const std::string& path, SetUse use) {
    const Id access = make_properties(H5P_DATASET_ACCESS);
    const bool in_parts = use == SetUse::Parts;
    checked(H5Pset_chunk_cache(access, in_parts ? CHUNK_CACHE_SLOTS : 0,
                               in_parts ? CHUNK_CACHE_BYTES : 0, H5D_CHUNK_CACHE_W0_DEFAULT),
            "set", "the cache of chunks");
    return owned(H5Dopen2(file, path.c_str(), access), "open the data set", path);
}

void resize_set(hid_t set, const Extents& extents, std::string_view path) {
    checked(H5Dset_extent(set, to_hsize(extents).data()), "resize", path);
}

bool can_resize(hid_t set, const Extents& extents) {
    const Id properties = set_properties(set);
    return H5Pget_layout(properties) == H5D_CHUNKED && fits_max_extents(set, extents) &&
           new_room_is_zero(properties) && has_sane_chunks(properties, extents);
}

void read_floats(hid_t set, hid_t space, const Hyperslab& slab, std::span<float> samples,
                 std::string_view path) {
    select_slab(space, slab, path);
    checked(H5Dread(set, H5T_NATIVE_FLOAT, block_space(slab), space, H5P_DEFAULT, samples.data()),
            "read", path);
}

void write_floats(hid_t set, hid_t space, const Hyperslab& slab, std::span<const float> samples,
                  std::string_view path) {
    select_slab(space, slab, path);
    checked(H5Dwrite(set, H5T_NATIVE_FLOAT, block_space(slab), space, H5P_DEFAULT, samples.data()),
            "write", path);
}

} // namespace talvora::host::hdf5
