// What the plug-in may ask of its host: the callback that every operation
// receives, the four tables of functions behind it, and the records in which the
// host returns texts, lists and shapes.
//
// This is a calling interface to hosts that exist already: the number of a slot in
// its table, the order of its arguments and the layout of a record are fixed, and
// are pinned below by static assertions. A table is an array of function pointers,
// called by position; slots that the plug-in does not call stand here as gaps.
//
// Words used here
//   host record     a host_list, host_string or host_shape. Made by the host in
//                   storage of the caller's, which the caller zeroed; the buffers
//                   that it points to are allocated by the host with malloc and
//                   freed by the plug-in with free, on the heap that both share.
//   borrowed        valid until the call it was given to returns; never freed by
//                   the receiver. Every text and array handed to a slot is borrowed
//                   by the host.
//   handle          an opaque 64-bit value made by the host: compared with all its
//                   bits, never released, good for the operation that obtained it.
//   flag            an 8-bit value, false when zero, true otherwise. The upper bits
//                   of the register it travels in are undefined, so it is compared
//                   as the 8-bit value that it is.
//
// Everything runs on the thread on which the host called the operation. Tables,
// handles and the call context are not kept once the operation has returned. No
// slot is expected to throw.
#pragma once

#include <cstddef>
#include <cstdint>

namespace talvora {

// The unit instance and its parameter values behind one call; only handed back.
struct call_context;

// Returns the table with the given number, borrowed for the operation.
using get_interface_function = void* (*)(std::int32_t table_id);

constexpr std::int32_t CONTEXT_API_ID = 4;
constexpr std::int32_t GROUP_API_ID = 7;
constexpr std::int32_t DATASET_API_ID = 8;
constexpr std::int32_t LOG_API_ID = 9;

enum class group_handle : std::uint64_t {};
enum class dataset_handle : std::uint64_t {};

// What a host answers instead of a handle when it could not create the object.
constexpr group_handle NULL_GROUP{};

// ---------------------------------------------------------------------------
// Host records: four 64-bit words. Word 1 is never read.

// A list of texts or of integers. `items` points to `count` pointers to
// NUL-terminated texts, each of them an allocation of its own, or to `count`
// signed 64-bit integers; it is null when the parameter has no value, whatever
// `count` says then.
struct host_list {
    std::uint64_t count;
    std::uint64_t unused;
    void* aux;
    void* items;
};

// A text, null when there is no value. Its length is that of the NUL-terminated
// text; word 0 is not relied on.
struct host_string {
    std::uint64_t unread_count;
    std::uint64_t unused;
    void* aux;
    char* text;
};

// The extents of a data set, `rank` of them, slowest dimension first.
struct host_shape {
    std::uint64_t rank;
    std::uint64_t unused;
    void* aux;
    std::uint64_t* dims;
};

static_assert(sizeof(host_list) == 32 && sizeof(host_string) == 32 && sizeof(host_shape) == 32);
static_assert(offsetof(host_list, count) == 0 && offsetof(host_shape, rank) == 0);
static_assert(offsetof(host_list, aux) == 16 && offsetof(host_list, items) == 24);
static_assert(offsetof(host_string, aux) == 16 && offsetof(host_string, text) == 24);
static_assert(offsetof(host_shape, aux) == 16 && offsetof(host_shape, dims) == 24);

// ---------------------------------------------------------------------------
// Tables

using host_flag = std::uint8_t;

// Takes the place of slots that the plug-in never calls.
using unused_slot = void (*)();

// Called by the host for each group of a scan. 0: go on; -1: report an error.
using visit_groups_callback = std::int32_t (*)(group_handle group, void* user,
                                               get_interface_function get_interface);

// Table 4: the parameters of the call, the root of its tree, its error messages.
struct context_api {
    // Registers one parameter signature. What it returns is handed on unread.
    std::uint64_t (*declare_parameter)(call_context* ctx, const char* signature,
                                       host_flag required);
    // Gives the root of the tree that the call works on.
    void (*root_group)(group_handle* out, call_context* ctx);
    // The value given, or the declared default.
    host_flag (*read_boolean)(call_context* ctx, const char* key);
    std::int64_t (*read_integer)(call_context* ctx, const char* key);
    double (*read_number)(call_context* ctx, const char* key);
    // Fill a host record; word 3 is null when the parameter has no value.
    void (*read_string)(host_string* out, call_context* ctx, const char* key);
    unused_slot slot_6;
    void (*read_integer_list)(host_list* out, call_context* ctx, const char* key);
    unused_slot slot_8;
    void (*read_string_list)(host_list* out, call_context* ctx, const char* key);
    // Template and arguments go to the host unformatted: integers as 64-bit values,
    // reals as double, texts as pointers that are never null.
    void (*log_error)(call_context* ctx, const char* message, ...);
};

// Table 7: groups and their attributes. `path` is relative to the group given.
struct group_api {
    // Gives NULL_GROUP when the group could not be created.
    void (*create_group)(group_handle* out, group_handle parent, const char* path);
    host_flag (*group_exists)(group_handle parent, const char* path);
    // False for a handle that names no group.
    host_flag (*group_is_valid)(group_handle group);
    // Names of the child groups, and of the data sets directly in the group.
    void (*list_groups)(host_list* out, group_handle group);
    void (*list_datasets)(host_list* out, group_handle group);
    // Always gives a handle; group_is_valid tells whether it names a group.
    void (*open_group)(group_handle* out, group_handle parent, const char* path);
    // Calls back for the groups below `group`; false when the scan failed.
    host_flag (*visit_groups)(group_handle group, visit_groups_callback callback, void* user,
                              get_interface_function get_interface);
    unused_slot slots_7_to_20[14];
    void (*write_float_attribute)(group_handle group, const char* name, float value);
    unused_slot slots_22_to_35[14];
    host_flag (*has_attribute)(group_handle group, const char* name);
    unused_slot slots_37_to_43[7];
    std::int64_t (*read_integer_attribute)(group_handle group, const char* name);
    unused_slot slot_45;
    float (*read_float_attribute)(group_handle group, const char* name);
};

// Table 8: data sets, their samples and their attributes. `selection` is a
// hyperslab: one start per dimension, then one count per dimension; `word_count`
// is twice the rank. The samples of a hyperslab are contiguous floats, last
// dimension fastest.
struct dataset_api {
    // The handle fails dataset_is_valid when the set could not be created.
    void (*create_dataset)(dataset_handle* out, group_handle group, const char* name,
                           const std::uint64_t* extents, std::uint64_t rank);
    unused_slot slots_1_to_2[2];
    host_flag (*dataset_exists)(group_handle group, const char* name);
    host_flag (*dataset_is_valid)(dataset_handle set);
    unused_slot slots_5_to_6[2];
    void (*read_samples)(dataset_handle set, float* destination, const std::uint64_t* selection,
                         std::uint64_t word_count);
    unused_slot slots_8_to_9[2];
    // Always gives a handle; dataset_is_valid tells whether it names a data set.
    void (*open_dataset)(dataset_handle* out, group_handle group, const char* path);
    void (*dataset_shape)(host_shape* out, dataset_handle set);
    unused_slot slot_12;
    // Keeps the samples whose indices lie inside the new extents.
    void (*resize_dataset)(dataset_handle set, const std::uint64_t* extents, std::uint64_t rank);
    void (*write_samples)(dataset_handle set, const float* source, const std::uint64_t* selection,
                          std::uint64_t word_count);
    unused_slot slots_15_to_17[3];
    void (*copy_attribute)(dataset_handle destination, dataset_handle source, const char* name);
    unused_slot slot_19;
    void (*list_attributes)(host_list* out, dataset_handle set);
    unused_slot slots_21_to_29[9];
    void (*write_integer_attribute)(dataset_handle set, const char* name, std::int64_t value);
    unused_slot slot_31;
    void (*write_float_attribute)(dataset_handle set, const char* name, float value);
    void (*write_number_attribute)(dataset_handle set, const char* name, double value);
    void (*write_string_attribute)(dataset_handle set, const char* name, const char* value);
    unused_slot slots_35_to_41[7];
    void (*write_integer_array_attribute)(dataset_handle set, const char* name,
                                          const std::int64_t* values, const std::uint64_t* extents,
                                          std::uint64_t rank);
    unused_slot slots_43_to_45[3];
    void (*write_string_list_attribute)(dataset_handle set, const char* name,
                                        const char* const* values, const std::uint64_t* extents,
                                        std::uint64_t rank);
    host_flag (*has_attribute)(dataset_handle set, const char* name);
    unused_slot slots_48_to_56[9];
    // The units take 0 or less as a missing attribute, NaN or infinity as unusable.
    float (*read_float_attribute)(dataset_handle set, const char* name);
    unused_slot slot_58;
    // Fills a host record; word 3 is null when there is no such attribute.
    void (*read_string_attribute)(host_string* out, dataset_handle set, const char* name);
};

// Table 9: messages that belong to no call. Arguments as for context_api::log_error.
struct log_api {
    void (*log_info)(const char* message, ...);
    unused_slot slots_1_to_2[2];
    void (*log_warning)(const char* message, ...);
    void (*log_error)(const char* message, ...);
};

#define TALVORA_ASSERT_SLOT(table, slot, name)                                                     \
    static_assert(offsetof(table, name) == std::uint64_t{8} * (slot))

TALVORA_ASSERT_SLOT(context_api, 0, declare_parameter);
TALVORA_ASSERT_SLOT(context_api, 1, root_group);
TALVORA_ASSERT_SLOT(context_api, 2, read_boolean);
TALVORA_ASSERT_SLOT(context_api, 3, read_integer);
TALVORA_ASSERT_SLOT(context_api, 4, read_number);
TALVORA_ASSERT_SLOT(context_api, 5, read_string);
TALVORA_ASSERT_SLOT(context_api, 7, read_integer_list);
TALVORA_ASSERT_SLOT(context_api, 9, read_string_list);
TALVORA_ASSERT_SLOT(context_api, 10, log_error);

TALVORA_ASSERT_SLOT(group_api, 0, create_group);
TALVORA_ASSERT_SLOT(group_api, 1, group_exists);
TALVORA_ASSERT_SLOT(group_api, 2, group_is_valid);
TALVORA_ASSERT_SLOT(group_api, 3, list_groups);
TALVORA_ASSERT_SLOT(group_api, 4, list_datasets);
TALVORA_ASSERT_SLOT(group_api, 5, open_group);
TALVORA_ASSERT_SLOT(group_api, 6, visit_groups);
TALVORA_ASSERT_SLOT(group_api, 21, write_float_attribute);
TALVORA_ASSERT_SLOT(group_api, 36, has_attribute);
TALVORA_ASSERT_SLOT(group_api, 44, read_integer_attribute);
TALVORA_ASSERT_SLOT(group_api, 46, read_float_attribute);

TALVORA_ASSERT_SLOT(dataset_api, 0, create_dataset);
TALVORA_ASSERT_SLOT(dataset_api, 3, dataset_exists);
TALVORA_ASSERT_SLOT(dataset_api, 4, dataset_is_valid);
TALVORA_ASSERT_SLOT(dataset_api, 7, read_samples);
TALVORA_ASSERT_SLOT(dataset_api, 10, open_dataset);
TALVORA_ASSERT_SLOT(dataset_api, 11, dataset_shape);
TALVORA_ASSERT_SLOT(dataset_api, 13, resize_dataset);
TALVORA_ASSERT_SLOT(dataset_api, 14, write_samples);
TALVORA_ASSERT_SLOT(dataset_api, 18, copy_attribute);
TALVORA_ASSERT_SLOT(dataset_api, 20, list_attributes);
TALVORA_ASSERT_SLOT(dataset_api, 30, write_integer_attribute);
TALVORA_ASSERT_SLOT(dataset_api, 32, write_float_attribute);
TALVORA_ASSERT_SLOT(dataset_api, 33, write_number_attribute);
TALVORA_ASSERT_SLOT(dataset_api, 34, write_string_attribute);
TALVORA_ASSERT_SLOT(dataset_api, 42, write_integer_array_attribute);
TALVORA_ASSERT_SLOT(dataset_api, 46, write_string_list_attribute);
TALVORA_ASSERT_SLOT(dataset_api, 47, has_attribute);
TALVORA_ASSERT_SLOT(dataset_api, 57, read_float_attribute);
TALVORA_ASSERT_SLOT(dataset_api, 59, read_string_attribute);

TALVORA_ASSERT_SLOT(log_api, 0, log_info);
TALVORA_ASSERT_SLOT(log_api, 3, log_warning);
TALVORA_ASSERT_SLOT(log_api, 4, log_error);

#undef TALVORA_ASSERT_SLOT

} // namespace talvora
