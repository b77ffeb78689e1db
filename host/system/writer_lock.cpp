#include "host/system/writer_lock.h"

#include "host/system/folder_of.h"
#include "host/system/pending_cleanup.h"
#include "host/system/temporary_names.h"
#include "host/text/ascii.h"
#include "host/text/failure.h"

#include <fmt/format.h>
#include <xxhash.h>

#include <algorithm>
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
#include <utility>

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
constexpr std::size_t MAX_LOCK_STEM_LENGTH = 180;

std::string stem_of(const fs::path& destination) {
    const std::string name = destination.filename().string();
    return name.size() <= MAX_LOCK_STEM_LENGTH
               ? name
               : fmt::format("{}~{:016x}", name.substr(0, MAX_LOCK_STEM_LENGTH),
                             XXH3_64bits(name.data(), name.size()));
}

std::string lock_name(const fs::path& folder, std::string_view stem) {
    return (folder / fmt::format(".{}{}", stem, LOCK_SUFFIX)).string();
}

struct LockFile {
    int file; // -1: cannot be opened, as errno tells
    bool made = false;
};

constexpr int LOCK_FILE_FLAGS = O_CLOEXEC | O_NOFOLLOW;

// Who may not write to the lock file of another can lock it all the same.
int open_existing(const std::string& name) {
    const int file = open(name.c_str(), O_RDWR | LOCK_FILE_FLAGS);
    return file < 0 && errno == EACCES ? open(name.c_str(), O_RDONLY | LOCK_FILE_FLAGS) : file;
}

// One that is there may go before it is opened.
LockFile open_lock_file(const std::string& name) {
    for (;;) {
        const int made = open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | LOCK_FILE_FLAGS, 0666);
        if (made >= 0 || errno != EEXIST) {
            return {made, made >= 0};
        }
        const int file = open_existing(name);
        if (file >= 0 || errno != ENOENT) {
            return {file};
        }
    }
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
        const LockFile opened = open_lock_file(name);
        if (opened.file < 0) {
            return {Lock::None, -1};
        }
        const Lock outcome = lock(opened.file);
        if (outcome == Lock::Taken && is_still_there(opened.file, name)) {
            return {outcome, opened.file};
        }
        const int error = errno;
        if (opened.made && (outcome == Lock::Unknown || outcome == Lock::None)) {
            unlink(name.c_str());
        }
        close(opened.file);
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

bool is_random_letter(char letter) {
    return is_letter(letter) || is_digit(letter);
}

// .STEM.XXXXXX.talvora-tmp; nothing for any other name.
std::optional<std::string> find_temporary_stem(std::string_view name) {
    const std::size_t tail = RANDOM_LETTERS.size() + TEMPORARY_SUFFIX.size();
    if (!name.ends_with(TEMPORARY_SUFFIX) || name.size() <= tail + 2 || name[0] != '.' ||
        name[name.size() - tail - 1] != '.' ||
        !std::ranges::all_of(name.substr(name.size() - tail, RANDOM_LETTERS.size()),
                             is_random_letter)) {
        return std::nullopt;
    }
    return std::string(name.substr(1, name.size() - tail - 2));
}

// .STEM.talvora-lock
std::optional<std::string> find_lock_stem(std::string_view name) {
    if (!name.ends_with(LOCK_SUFFIX) || name.size() <= LOCK_SUFFIX.size() + 1 || name[0] != '.') {
        return std::nullopt;
    }
    return std::string(name.substr(1, name.size() - LOCK_SUFFIX.size() - 1));
}

// With no name but this one.
bool is_plain_file(const struct stat& status) {
    return S_ISREG(status.st_mode) && status.st_nlink == 1;
}

bool is_plain_file_of_this_user(const fs::path& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && is_plain_file(status) && status.st_uid == geteuid();
}

bool is_lock_file(const fs::path& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && is_plain_file(status) && status.st_size == 0;
}

// Of what a run of this user may have left; nothing for any other file.
std::optional<std::string> find_left_stem(const fs::path& path) {
    const std::string name = path.filename().string();
    const auto of_lock = find_lock_stem(name);
    const auto stem = of_lock ? of_lock : find_temporary_stem(name);
    return stem && is_plain_file_of_this_user(path) && (!of_lock || is_lock_file(path))
               ? stem
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
        if (find_temporary_stem(entry.path().filename().native()) == stem &&
            is_plain_file_of_this_user(entry.path())) {
            unlink(entry.path().c_str());
        }
    }
    if (is_lock_file(name) && is_plain_file_of_this_user(name)) {
        unlink(name.c_str());
    }
    close(attempt.file);
}

} // namespace

std::string temporary_template(const fs::path& destination) {
    return (folder_of(destination) /
            fmt::format(".{}.{}{}", stem_of(destination), RANDOM_LETTERS, TEMPORARY_SUFFIX))
        .string();
}

bool is_temporary_name(const fs::path& file) {
    return find_temporary_stem(file.filename().native()).has_value();
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
    file_ = attempt.file;
    if (!is_held() || !is_lock_file(name_)) {
        return; // what another made by this name stays
    }
    try {
        note_ = note_pending_file(name_);
    } catch (...) {
        unlink(name_.c_str());
        close(file_);
        throw;
    }
}

WriterLock::~WriterLock() {
    let_go();
}

bool WriterLock::let_go() {
    if (!is_held()) {
        return true;
    }
    const SignalsHeldBack held_back;
    const bool is_gone = note_ < 0 || unlink(name_.c_str()) == 0;
    close(std::exchange(file_, -1));
    if (note_ >= 0) {
        forget_pending_file(std::exchange(note_, -1));
    }
    return is_gone;
}

void sweep_dead_files_in(const fs::path& folder) {
    std::error_code ignored;
    std::set<std::string> stems;
    for (const auto& entry : fs::directory_iterator(folder, ignored)) {
        if (const auto stem = find_left_stem(entry.path())) {
            stems.insert(*stem);
        }
    }
    for (const std::string& stem : stems) {
        sweep_stem(folder, stem);
    }
}

} // namespace talvora::host
