// The folder that a file stands in.
#pragma once

#include <filesystem>

namespace talvora::host {

// The current one, ".", of a name alone.
inline std::filesystem::path folder_of(const std::filesystem::path& file) {
    return file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
}

} // namespace talvora::host
