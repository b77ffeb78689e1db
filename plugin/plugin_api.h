// What the library shows to a host that has just loaded it.
//
// The library exports one function, talvora_plugin_api. Asked for kind 0 it
// returns one plugin_descriptor, asked for kind 3 the table of unit_descriptors; a host
// walks that table with the stride of one record.
//
// Words used here
//   getter          a function without arguments that returns a NUL-terminated
//                   text; the text is static.
//   valid until unload   the storage belongs to the library: nobody frees it, and
//                   it stays where it is until the library is unloaded.
//
// Nothing here throws. The entry is meant to be called by one thread at a time;
// a second call writes the same bytes again.
#pragma once

#include "plugin/host_interfaces.h"

#include <cstddef>
#include <cstdint>

namespace talvora {

using text_getter = const char* (*)();

// Registers a unit's parameters with the host. Returns, at full register width,
// what the host answered to the last registration.
using declare_operation = std::uint64_t (*)(call_context* ctx,
                                            get_interface_function get_interface);

// Performs a unit on the parameters of the call. True on success; on failure the
// reason has been reported through the host's message slots. An allocation failure
// leaves as the exception that it is.
using run_operation = bool (*)(call_context* ctx, get_interface_function get_interface);

// Who the plug-in is. Valid until unload.
struct plugin_descriptor {
    text_getter name;
    text_getter vendor;
    text_getter version;
    text_getter description;
    text_getter web_address;
    // Zero. A host that copies a whole record of the other kind stays inside it.
    unsigned char reserved[256];
};

// One callable unit. Valid until unload. A legacy identifier is an alias: it
// carries the operations of its current identifier and a date, but no version and
// no description; a current identifier carries no date.
struct unit_descriptor {
    text_getter name;
    text_getter vendor;
    text_getter category;
    declare_operation declare;
    run_operation run;
    text_getter version;         // null for a legacy identifier
    text_getter description;     // null for a legacy identifier
    text_getter date;            // null for a current identifier
    unsigned char reserved[232]; // zero
};

static_assert(offsetof(plugin_descriptor, name) == 0);
static_assert(offsetof(plugin_descriptor, vendor) == 8);
static_assert(offsetof(plugin_descriptor, version) == 16);
static_assert(offsetof(plugin_descriptor, description) == 24);
static_assert(offsetof(plugin_descriptor, web_address) == 32);
static_assert(sizeof(plugin_descriptor) == 296);

static_assert(offsetof(unit_descriptor, name) == 0);
static_assert(offsetof(unit_descriptor, vendor) == 8);
static_assert(offsetof(unit_descriptor, category) == 16);
static_assert(offsetof(unit_descriptor, declare) == 24);
static_assert(offsetof(unit_descriptor, run) == 32);
static_assert(offsetof(unit_descriptor, version) == 40);
static_assert(offsetof(unit_descriptor, description) == 48);
static_assert(offsetof(unit_descriptor, date) == 56);
static_assert(offsetof(unit_descriptor, reserved) == 64);
static_assert(sizeof(unit_descriptor) == 296);

// What talvora_plugin_api can be asked for.
constexpr std::int32_t PLUGIN_DESCRIPTOR_KIND = 0;
constexpr std::int32_t UNIT_TABLE_KIND = 3;

// The name a host looks up in the loaded library, and the type of what it finds.
constexpr char PLUGIN_ENTRY_NAME[] = "talvora_plugin_api";
using plugin_entry = const void* (*)(std::uint32_t* count_out, std::int32_t kind);

} // namespace talvora

#if defined(_WIN32)
#define TALVORA_EXPORT __declspec(dllexport)
#else
#define TALVORA_EXPORT __attribute__((visibility("default")))
#endif

// kind 0: writes 1 to *count_out, returns the plugin_descriptor.
// kind 3: writes the number of rows, returns the first of so many contiguous unit_descriptors.
// Any other kind: writes nothing, returns null. Defined in entry/, which alone exports.
extern "C" TALVORA_EXPORT const void* talvora_plugin_api(std::uint32_t* count_out,
                                                         std::int32_t kind);
