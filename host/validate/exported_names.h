// The names that a library file shows to those who load it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace talvora::host {

// Functions and data, in the order of the file. Throws std::runtime_error when the file is
// no library of this machine.
std::vector<std::string> list_exported_names(const std::filesystem::path& file);

// What to say of a library that another kind of machine runs; empty for one of this machine,
// and for a file that is no library at all. On Windows the system says so itself.
std::string describe_other_machine(const std::filesystem::path& file);

} // namespace talvora::host
