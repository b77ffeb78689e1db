#include "host/system/safe_write.h"

#include "host/system/pending_cleanup.h"
#include "host/system/temporary_names.h"
#include "host/text/failure.h"
#include "host/text/quote_word.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const fs::path& path, std::string_view what, int error = errno) {
    throw Failure(ExitCode::Output, fmt::format("{}: {}: {}", path.string(), what,
                                                std::generic_category().message(error)));
}

fs::path folder_of(const fs::path& file) {
    return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

// The folder itself, or the nearest one above it that is there.
fs::path nearest_existing(fs::path folder) {
    std::error_code error;
    while (!fs::exists(folder, error) && folder.has_relative_path()) {
        folder = folder_of(folder);
    }
    return folder;
}

void make_folders(const fs::path& folder) {
    std::error_code error;
    fs::create_directories(folder, error);
    if (error) {
        fail(folder, "the folder cannot be made", error.value());
    }
}

// A write through a symbolic link goes to what it points to.
fs::path follow_links(const fs::path& path) {
    std::error_code error;
    const fs::path target = fs::weakly_canonical(path, error);
    return !error && fs::is_symlink(path, error) ? target : path;
}

void sync_path(const fs::path& path, int flags) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | flags);
    const bool done = file >= 0 && fsync(file) == 0;
    const int error = errno;
    if (file >= 0) {
        close(file);
    }
    if (!done) {
        fail(path, "cannot be synced", error);
    }
}

mode_t creation_mode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

// The owner comes first, since a change of it takes special mode bits away; only
// a privileged process can keep another's ownership, so a refusal is no failure.
void take_over_mode(const fs::path& temporary, const fs::path& destination, const fs::path& like) {
    struct stat status {};
    const bool found = stat(destination.c_str(), &status) == 0 || stat(like.c_str(), &status) == 0;
    if (found) {
        [[maybe_unused]] const int kept = chown(temporary.c_str(), status.st_uid, status.st_gid);
    }
    if (chmod(temporary.c_str(), found ? status.st_mode & 07777 : creation_mode()) != 0) {
        fail(temporary, "its mode cannot be set");
    }
}

// Without `replace` a destination that came up in the meantime is left alone, where
// the file system can do so.
int rename_over(const fs::path& from, const fs::path& to, bool replace) {
    if (!replace) {
        const int result =
            renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
        if (result == 0 || errno != EINVAL) {
            return result;
        }
    }
    return std::rename(from.c_str(), to.c_str());
}

} // namespace

void check_destination(const fs::path& destination, const WriteOptions& options) {
    const fs::path folder = folder_of(follow_links(destination));
    std::error_code error;
    const fs::file_status status = fs::status(destination, error);
    if (error && status.type() != fs::file_type::not_found) {
        fail(destination, "cannot be written", error.value());
    }
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw Failure(ExitCode::Output,
                      fmt::format("{}: exists and is no regular file", destination.string()));
    }
    if (fs::exists(status) && !options.replace) {
        throw Failure(ExitCode::Output, fmt::format("{}: exists", destination.string()),
                      {"--force replaces it"});
    }
    if (fs::exists(status) && access(destination.c_str(), W_OK) != 0) {
        fail(destination, "cannot be written");
    }
    const fs::path found = options.make_folder ? nearest_existing(folder) : folder;
    if (!fs::is_directory(found, error)) {
        throw Failure(ExitCode::Output,
                      fmt::format("{}: no folder '{}'", destination.string(), found.string()),
                      {"make it: mkdir -p " + quote_word(found.string())});
    }
    if (access(found.c_str(), W_OK | X_OK) != 0) {
        fail(destination, fmt::format("folder '{}' cannot be written", found.string()));
    }
}

void refuse_same_file(const fs::path& input, const fs::path& output, std::string_view hint) {
    std::error_code ignored;
    // By name as well, for files that are yet to be made.
    if (fs::equivalent(input, output, ignored) ||
        (!output.empty() &&
         fs::weakly_canonical(input, ignored) == fs::weakly_canonical(output, ignored))) {
        throw Failure(ExitCode::Usage,
                      fmt::format("{}: input and output are the same file", output.string()),
                      {std::string(hint)});
    }
}

void sweep_beside(const fs::path& destination) {
    sweep_dead_files(folder_of(follow_links(destination)));
}

PendingFile::PendingFile(const fs::path& destination, const WriteOptions& options)
    : destination_(follow_links(destination)), options_(options) {
    check_destination(destination, options);
    if (options.make_folder) {
        make_folders(folder_of(destination_));
    }
    sweep_beside(destination);
    make(folder_of(destination_), destination_.filename().string());
}

PendingFile::PendingFile() {
    std::error_code error;
    const fs::path folder = fs::temp_directory_path(error);
    if (error) {
        fail("dry run", "no folder for temporary files", error.value());
    }
    sweep_dead_files(folder);
    make(folder, "trial");
}

void PendingFile::make(const fs::path& folder, const std::string& stem) {
    std::string name = (folder / make_temporary_name(stem, "XXXXXX")).string();
    const SignalsHeldBack held_back;
    const int file = mkostemps(name.data(), static_cast<int>(TEMPORARY_SUFFIX.size()), O_CLOEXEC);
    if (file < 0) {
        fail(folder, "no temporary file can be made there");
    }
    close(file);
    temporary_ = name;
    try {
        note_ = note_pending_file(temporary_);
    } catch (...) {
        unlink(name.c_str());
        throw;
    }
}

PendingFile::~PendingFile() {
    if (note_ >= 0) {
        unlink(temporary_.c_str());
        forget_pending_file(note_);
    }
}

void PendingFile::publish() {
    take_over_mode(temporary_, destination_, options_.like);
    sync_path(temporary_, 0);
    {
        const SignalsHeldBack held_back;
        if (rename_over(temporary_, destination_, options_.replace) != 0) {
            fail(destination_, "cannot be replaced");
        }
        forget_pending_file(note_);
        note_ = -1;
    }
    sync_path(folder_of(destination_), O_DIRECTORY);
}

} // namespace talvora::host
