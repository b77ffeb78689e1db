// Tells whether a file is still the one that it was.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace talvora::host {

// Which file a name stands for, and when it was last changed.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t number = 0;
    std::uint64_t byte_count = 0;
    std::int64_t changed_s = 0; // content or rights, since 1970
    std::int64_t changed_ns = 0;
    std::uint64_t name_count = 0; // hard links

    bool operator==(const FileIdentity&) const = default;
};

// Nothing where there is no such file. Throws a Failure of the output when that cannot be told.
std::optional<FileIdentity> identify_file(const std::filesystem::path& file);

// The same; nothing either where that cannot be told.
std::optional<FileIdentity> find_identity(const std::filesystem::path& file);

} // namespace talvora::host
