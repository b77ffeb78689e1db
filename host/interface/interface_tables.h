// The function tables that a plug-in asks its host for, over any DataTree.
//
// They are plain functions without user data, so they answer for the HostCall that is
// active on their thread (host_call.h). Handles are the tree's object ids, and zero is
// the handle of nothing: opening an object twice gives the same handle, and asking
// whether a handle is valid is always allowed. What the tables return in host records is
// allocated with malloc and belongs to the plug-in.
//
// Beside the slots in plugin/host_interfaces.h every table is filled up to TABLE_SIZE with
// functions that note the call as a break of the interface and return zero.
#pragma once

#include "plugin/host_interfaces.h"

#include <cstddef>
#include <cstdint>

namespace talvora::host {

constexpr std::size_t TABLE_SIZE = 128;

// The get_interface_function of this host. An unknown number is noted as a break and
// gives a table of such functions alone, for plug-ins do not check for null.
void* get_interface(std::int32_t table_id);

// The tables without their fillings; one file each.
extern const context_api CONTEXT_TABLE;
extern const group_api GROUP_TABLE;
extern const dataset_api DATASET_TABLE;
extern const log_api LOG_TABLE;

} // namespace talvora::host
