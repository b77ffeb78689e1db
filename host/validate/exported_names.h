// The names that a library file shows to those who load it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace talvora::host {

// Functions and data, in the order of the file. Throws std::runtime_error when the file is
// no library of this platform.
std::vector<std::string> list_exported_names(const std::filesystem::path& file);

} // namespace talvora::host
