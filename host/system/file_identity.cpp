#include "host/system/file_identity.h"

#include "host/text/failure.h"

#include <fmt/format.h>

#include <cerrno>
#include <sys/stat.h>
#include <system_error>

namespace talvora::host {

std::optional<FileIdentity> identify_file(const std::filesystem::path& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) == 0) {
        return FileIdentity{status.st_dev,
                            status.st_ino,
                            static_cast<std::uint64_t>(status.st_size),
                            status.st_ctim.tv_sec,
                            status.st_ctim.tv_nsec,
                            status.st_nlink};
    }
    if (errno == ENOENT) {
        return std::nullopt;
    }
    throw Failure(ExitCode::Output, fmt::format("{}: cannot be looked at: {}", file.string(),
                                                std::generic_category().message(errno)));
}

std::optional<FileIdentity> find_identity(const std::filesystem::path& file) {
    try {
        return identify_file(file);
    } catch (const Failure&) {
        return std::nullopt;
    }
}

} // namespace talvora::host
