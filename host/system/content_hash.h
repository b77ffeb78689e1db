// What a file holds, as one short text.
#pragma once

#include <filesystem>
#include <string>

namespace talvora::host {

// SHA-256 of the content, 64 hexadecimal digits. Throws a Failure of the input when the
// file cannot be read. May be called while another thread works with HDF5.
std::string hash_file(const std::filesystem::path& path);

} // namespace talvora::host
