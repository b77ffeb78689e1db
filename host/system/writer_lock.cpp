#include "host/system/writer_lock.h"

#include "host/system/pending_cleanup.h"
#include "host/system/temporary_names.h"
#include "host/text/failure.h"

#include <fmt/format.h>
#include <xxhash.h>

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <optional>
#include <set>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view LOCK_SUFFIX = ".talvora-lock";
constexpr std::string_view RANDOM_LETTERS = "XXXXXX";

// Who sweeps a folder holds a lock for as long as it takes to look through it.
constexpr auto SWEEPING_TIME = std::chrono::milliseconds(500);
constexpr auto RETRY_TIME = std::chrono::milliseconds(5);

// File systems take names of up to 255 bytes. What is cut off a long name is told apart by a
// number, so that two files never share a lock.
constexpr std::size_t MAX_STEM_LENGTH = 180;

std::string stem_of(const fs::path& destination) {
    const std::string name = destination.filename().string();
    return name.size() <= MAX_STEM_LENGTH
               ? name
               : fmt::format("{}~{:016x}", name.substr(0, MAX_STEM_LENGTH),
                             XXH3_64bits(name.data(), name.size()));
}

std::string lock_name(const fs::path& folder, std::string_view stem) {
    return (folder / fmt::format(".{}{}", stem, LOCK_SUFFIX)).string();
}

fs::path folder_of(const fs::path& destination) {
    return destination.has_parent_path() ? destination.parent_path() : fs::path(".");
}

// Who may not write to the lock file of another can lock it all the same.
int open_lock_file(const std::string& name) {
    const int file = open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
    return file < 0 && errno == EACCES ? open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW)
                                       : file;
}

// Its last holder may have removed the file between the opening and the lock.
bool is_still_there(int file, const std::string& name) {
    struct stat opened {};
    struct stat named {};
    return fstat(file, &opened) == 0 && stat(name.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

enum class Lock {
    Taken,
    Busy,    // held by another process
    Unknown, // the file system knows no locks
    None     // cannot be had, as errno tells
};

Lock lock(int file) {
    if (flock(file, LOCK_EX | LOCK_NB) == 0) {
        return Lock::Taken;
    }
    switch (errno) {
    case EWOULDBLOCK:
        return Lock::Busy;
    case ENOLCK:
    case ENOSYS:
    case EOPNOTSUPP:
        return Lock::Unknown;
    default:
        return Lock::None;
    }
}

struct Attempt {
    Lock lock;
    int file; // -1 unless taken
};

Attempt try_lock(const std::string& name) {
    for (;;) {
        const int file = open_lock_file(name);
        if (file < 0) {
            return {Lock::None, -1};
        }
        const Lock outcome = lock(file);
        if (outcome == Lock::Taken && is_still_there(file, name)) {
            return {outcome, file};
        }
        const int error = errno;
        close(file);
        errno = error;
        if (outcome != Lock::Taken) {
            return {outcome, -1};
        }
    }
}

Attempt wait_for_lock(const std::string& name) {
    const auto end = std::chrono::steady_clock::now() + SWEEPING_TIME;
    Attempt attempt = try_lock(name);
    while (attempt.lock == Lock::Busy && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(RETRY_TIME);
        attempt = try_lock(name);
    }
    return attempt;
}

// The stem of a temporary file's or lock file's name; nothing for any other file.
std::optional<std::string> find_stem(std::string_view name) {
    const std::string tail = fmt::format(".{}{}", RANDOM_LETTERS, TEMPORARY_SUFFIX);
    for (const std::size_t suffix : {tail.size(), LOCK_SUFFIX.size()}) {
        const std::string_view ending = suffix == tail.size() ? TEMPORARY_SUFFIX : LOCK_SUFFIX;
        if (name.starts_with('.') && name.ends_with(ending) && name.size() > suffix + 1) {
            return std::string(name.substr(1, name.size() - suffix - 1));
        }
    }
    return std::nullopt;
}

// Folders with such names are not of this kind.
std::optional<std::string> find_stem(const fs::directory_entry& entry) {
    std::error_code ignored;
    return entry.is_regular_file(ignored) ? find_stem(entry.path().filename().native())
                                          : std::nullopt;
}

// The lock is held meanwhile, and the lock file goes last.
void sweep_stem(const fs::path& folder, const std::string& stem) {
    const std::string name = lock_name(folder, stem);
    const SignalsHeldBack held_back;
    const Attempt attempt = try_lock(name);
    if (attempt.lock != Lock::Taken) {
        return;
    }
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(folder, ignored)) {
        if (entry.path().native().ends_with(TEMPORARY_SUFFIX) && find_stem(entry) == stem) {
            fs::remove(entry.path(), ignored);
        }
    }
    unlink(name.c_str());
    close(attempt.file);
}

} // namespace

std::string temporary_template(const fs::path& destination) {
    return (folder_of(destination) /
            fmt::format(".{}.{}{}", stem_of(destination), RANDOM_LETTERS, TEMPORARY_SUFFIX))
        .string();
}

WriterLock::WriterLock(const fs::path& destination)
    : name_(lock_name(folder_of(destination), stem_of(destination))) {
    const SignalsHeldBack held_back;
    const Attempt attempt = wait_for_lock(name_);
    if (attempt.lock == Lock::Busy) {
        throw Failure(ExitCode::Output,
                      fmt::format("{}: another run is writing to it", destination.string()),
                      {"try again when it has ended"});
    }
    if (attempt.lock == Lock::None) {
        throw Failure(ExitCode::Output, fmt::format("{}: its lock file '{}' cannot be locked: {}",
                                                    destination.string(), name_,
                                                    std::generic_category().message(errno)));
    }
    if (attempt.lock == Lock::Unknown) {
        unlink(name_.c_str());
        return;
    }
    file_ = attempt.file;
    try {
        note_ = note_pending_file(name_);
    } catch (...) {
        unlink(name_.c_str());
        close(file_);
        throw;
    }
}

WriterLock::~WriterLock() {
    if (!is_held()) {
        return;
    }
    const SignalsHeldBack held_back;
    unlink(name_.c_str());
    close(file_);
    forget_pending_file(note_);
}

void sweep_dead_files_in(const fs::path& folder) {
    std::error_code ignored;
    std::set<std::string> stems;
    for (const auto& entry : fs::directory_iterator(folder, ignored)) {
        if (const auto stem = find_stem(entry)) {
            stems.insert(*stem);
        }
    }
    for (const std::string& stem : stems) {
        sweep_stem(folder, stem);
    }
}

} // namespace talvora::host
