// HDF5 files as a whole: made, opened, checked and closed.
#pragma once

#include "host/hdf5/hdf5_calls.h"

#include <filesystem>

namespace talvora::host::hdf5 {

// Making and opening a file do so too.
void start_library();

// New objects are written in the format of library version 1.8 or later.
// Fails when it exists, but for a pending file (host/system/safe_write.h), which it fills.
Id create_file(const std::filesystem::path& file);
// Says what is wrong with a file that is missing, empty, damaged, locked or another kind.
Id open_file(const std::filesystem::path& file, bool for_writing);
void flush_file(hid_t file, const std::filesystem::path& name);
void close_file(Id file, const std::filesystem::path& name);

} // namespace talvora::host::hdf5
