// Preloaded into a program: makes the n-th call of one kind into the system fail, once or from
// then on, as a full or broken disk would. Only files below one folder count, so that starting
// the program costs no calls; forked processes count on together. A call of the kind "spoil" does
// not fail: it writes samples with one bit turned, as bad memory would.
//
//     FAILING_CALL    KIND:N:ERRNO:once|always, for example write:3:28:once; KIND as in KINDS
//                     below, N counted from 1; empty: nothing fails. rename:N:0:kill,
//                     link:N:0:kill and sync:N:0:kill do not fail: the process is killed right
//                     behind it. Several
//                     are parted by commas
//     FAILING_BELOW   the folder
//     FAILING_COUNTS  a file of COUNT_BYTES bytes, where the calls of each kind are counted, in
//                     the order of KINDS, each count a 64-bit integer; last, how many failed
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <string_view>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>
#include <vector>

namespace {

enum class Kind {
    Open,
    Read,
    Write,
    Sync,
    Rename,
    Truncate,
    Close,
    Lock,
    MakeFolder,
    Link,
    Unlink,
    Spoil
};

constexpr std::string_view KINDS[] = {"open",  "read", "write", "sync", "rename", "truncate",
                                      "close", "lock", "mkdir", "link", "unlink", "spoil"};
constexpr std::size_t KIND_COUNT = std::size(KINDS);
constexpr std::size_t COUNT_BYTES = (KIND_COUNT + 1) * sizeof(std::uint64_t);

struct Plan {
    std::uint64_t number = 0; // none
    int error = 0;
    bool always = false;
    bool kill = false;
};

struct Counts {
    std::atomic<std::uint64_t> calls[KIND_COUNT];
    std::atomic<std::uint64_t> failed;
};

Plan plans[KIND_COUNT]; // one for each kind
const char* folder = nullptr;
std::size_t folder_length = 0;
Counts* counts = nullptr;

void read_plan(const char* text) {
    char kind[16] = {};
    char times[8] = {};
    unsigned long long number = 0;
    int error = 0;
    if (std::sscanf(text, "%15[^:]:%llu:%d:%7[^,]", kind, &number, &error, times) != 4) {
        return;
    }
    for (std::size_t i = 0; i < KIND_COUNT; ++i) {
        if (KINDS[i] == kind) {
            plans[i] = {number, error, std::strcmp(times, "always") == 0,
                        std::strcmp(times, "kill") == 0};
        }
    }
}

void read_plans() {
    const char* text = std::getenv("FAILING_CALL");
    while (text != nullptr) {
        read_plan(text);
        const char* const comma = std::strchr(text, ',');
        text = comma == nullptr ? nullptr : comma + 1;
    }
}

Counts* map_counts() {
    const char* name = std::getenv("FAILING_COUNTS");
    const int file = name == nullptr ? -1 : open(name, O_RDWR | O_CLOEXEC);
    if (file < 0) {
        return nullptr;
    }
    void* const mapped = mmap(nullptr, COUNT_BYTES, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    return mapped == MAP_FAILED ? nullptr : static_cast<Counts*>(mapped);
}

[[gnu::constructor]] void begin() {
    read_plans();
    Counts* const mapped = map_counts();
    folder = std::getenv("FAILING_BELOW");
    folder_length = folder == nullptr ? 0 : std::strlen(folder);
    counts = folder_length == 0 ? nullptr : mapped; // from here on calls are counted
}

bool is_below(const char* path) {
    return std::strncmp(path, folder, folder_length) == 0;
}

// A file may be opened once more by its descriptor.
constexpr std::string_view OPEN_FILES = "/proc/self/fd/";

// A relative path is taken from the working folder, or from the one that is open as `base`.
bool names_ours(int base, const char* path) {
    if (counts == nullptr || path == nullptr) {
        return false;
    }
    char at[PATH_MAX] = {};
    if (std::strncmp(path, OPEN_FILES.data(), OPEN_FILES.size()) == 0) {
        return readlink(path, at, sizeof at - 1) > 0 && is_below(at);
    }
    if (path[0] == '/') {
        return is_below(path);
    }
    if (base == AT_FDCWD) {
        return getcwd(at, sizeof at - 1) != nullptr && is_below(at);
    }
    char link[64];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", base);
    return readlink(link, at, sizeof at - 1) > 0 && is_below(at);
}

bool is_ours(int file) {
    if (counts == nullptr) {
        return false;
    }
    const int before = errno;
    char link[64];
    char path[PATH_MAX] = {};
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", file);
    const bool ours = readlink(link, path, sizeof path - 1) > 0 && is_below(path);
    errno = before;
    return ours;
}

// True when this call is to fail: errno is set.
bool fails(Kind kind, bool ours) {
    if (!ours) {
        return false;
    }
    const auto index = static_cast<std::size_t>(kind);
    const std::uint64_t number = ++counts->calls[index];
    const Plan& plan = plans[index];
    if (plan.number == 0 || (plan.always ? number < plan.number : number != plan.number)) {
        return false;
    }
    ++counts->failed;
    errno = plan.error;
    return true;
}

// For the kind of calls that a process may be killed behind.
template <typename Call>
int call_or_end(Kind kind, bool ours, const Call& call) {
    if (!fails(kind, ours)) {
        return call();
    }
    if (plans[static_cast<std::size_t>(kind)].kill) {
        call();
        kill(getpid(), SIGKILL);
    }
    return -1;
}

// What the HDF5 library writes at a place in pieces of this size are samples.
constexpr std::size_t MIN_SPOILED_BYTES = 8192;

template <typename Write>
ssize_t write_spoiled(Write* write_next, int file, const void* bytes, size_t count, off64_t at) {
    std::vector<unsigned char> spoiled(count);
    std::memcpy(spoiled.data(), bytes, count);
    spoiled[count / 2] ^= 1U;
    return write_next(file, spoiled.data(), count, at);
}

template <typename Write>
ssize_t write_at(Write* write_next, int file, const void* bytes, size_t count, off64_t at) {
    const bool ours = is_ours(file);
    if (fails(Kind::Write, ours)) {
        return -1;
    }
    return fails(Kind::Spoil, ours && count >= MIN_SPOILED_BYTES)
               ? write_spoiled(write_next, file, bytes, count, at)
               : write_next(file, bytes, count, at);
}

template <typename Function>
Function* next(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// NOLINTNEXTLINE(cppcoreguidelines-macro-usage): the name is needed as a text
#define NEXT(function) next(&::function, #function)

bool makes_file(int flags) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

// The mode that follows the flags, where they ask for one.
#define READ_MODE(mode, flags)                                                                     \
    mode_t mode = 0;                                                                               \
    if (makes_file(flags)) {                                                                       \
        std::va_list arguments;                                                                    \
        va_start(arguments, flags);                                                                \
        (mode) = va_arg(arguments, mode_t);                                                        \
        va_end(arguments);                                                                         \
    }

} // namespace

extern "C" {

int open(const char* path, int flags, ...) {
    READ_MODE(mode, flags)
    return fails(Kind::Open, names_ours(AT_FDCWD, path)) ? -1 : NEXT(open)(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    READ_MODE(mode, flags)
    return fails(Kind::Open, names_ours(AT_FDCWD, path)) ? -1 : NEXT(open64)(path, flags, mode);
}

int openat(int base, const char* path, int flags, ...) {
    READ_MODE(mode, flags)
    return fails(Kind::Open, names_ours(base, path)) ? -1 : NEXT(openat)(base, path, flags, mode);
}

FILE* fopen(const char* path, const char* mode) {
    return fails(Kind::Open, names_ours(AT_FDCWD, path)) ? nullptr : NEXT(fopen)(path, mode);
}

FILE* fopen64(const char* path, const char* mode) {
    return fails(Kind::Open, names_ours(AT_FDCWD, path)) ? nullptr : NEXT(fopen64)(path, mode);
}

int mkostemps(char* path, int suffix, int flags) {
    return fails(Kind::Open, names_ours(AT_FDCWD, path)) ? -1
                                                         : NEXT(mkostemps)(path, suffix, flags);
}

ssize_t read(int file, void* bytes, size_t count) {
    return fails(Kind::Read, is_ours(file)) ? -1 : NEXT(read)(file, bytes, count);
}

ssize_t pread(int file, void* bytes, size_t count, off_t at) {
    return fails(Kind::Read, is_ours(file)) ? -1 : NEXT(pread)(file, bytes, count, at);
}

ssize_t pread64(int file, void* bytes, size_t count, off64_t at) {
    return fails(Kind::Read, is_ours(file)) ? -1 : NEXT(pread64)(file, bytes, count, at);
}

ssize_t write(int file, const void* bytes, size_t count) {
    return fails(Kind::Write, is_ours(file)) ? -1 : NEXT(write)(file, bytes, count);
}

ssize_t writev(int file, const iovec* blocks, int count) {
    return fails(Kind::Write, is_ours(file)) ? -1 : NEXT(writev)(file, blocks, count);
}

ssize_t pwrite(int file, const void* bytes, size_t count, off_t at) {
    return write_at(NEXT(pwrite), file, bytes, count, at);
}

ssize_t pwrite64(int file, const void* bytes, size_t count, off64_t at) {
    return write_at(NEXT(pwrite64), file, bytes, count, at);
}

ssize_t sendfile(int to, int from, off_t* at, size_t count) {
    return fails(Kind::Write, is_ours(to)) ? -1 : NEXT(sendfile)(to, from, at, count);
}

ssize_t sendfile64(int to, int from, off64_t* at, size_t count) {
    return fails(Kind::Write, is_ours(to)) ? -1 : NEXT(sendfile64)(to, from, at, count);
}

ssize_t copy_file_range(int from, off64_t* from_at, int to, off64_t* to_at, size_t count,
                        unsigned flags) {
    return fails(Kind::Write, is_ours(to))
               ? -1
               : NEXT(copy_file_range)(from, from_at, to, to_at, count, flags);
}

int fsync(int file) {
    return call_or_end(Kind::Sync, is_ours(file), [&] { return NEXT(fsync)(file); });
}

int fdatasync(int file) {
    return fails(Kind::Sync, is_ours(file)) ? -1 : NEXT(fdatasync)(file);
}

int rename(const char* from, const char* to) {
    return call_or_end(Kind::Rename, names_ours(AT_FDCWD, to),
                       [&] { return NEXT(rename)(from, to); });
}

int renameat2(int from_base, const char* from, int to_base, const char* to, unsigned flags) {
    return call_or_end(Kind::Rename, names_ours(to_base, to),
                       [&] { return NEXT(renameat2)(from_base, from, to_base, to, flags); });
}

int link(const char* from, const char* to) {
    return call_or_end(Kind::Link, names_ours(AT_FDCWD, to), [&] { return NEXT(link)(from, to); });
}

int unlink(const char* path) {
    return call_or_end(Kind::Unlink, names_ours(AT_FDCWD, path),
                       [&] { return NEXT(unlink)(path); });
}

int ftruncate(int file, off_t length) {
    return fails(Kind::Truncate, is_ours(file)) ? -1 : NEXT(ftruncate)(file, length);
}

int ftruncate64(int file, off64_t length) {
    return fails(Kind::Truncate, is_ours(file)) ? -1 : NEXT(ftruncate64)(file, length);
}

// A close that fails has closed the file nevertheless.
int close(int file) {
    const bool failed = fails(Kind::Close, is_ours(file));
    const int error = errno;
    const int result = NEXT(close)(file);
    if (!failed) {
        return result;
    }
    errno = error;
    return -1;
}

int flock(int file, int operation) {
    return fails(Kind::Lock, is_ours(file)) ? -1 : NEXT(flock)(file, operation);
}

int mkdir(const char* path, mode_t mode) {
    return fails(Kind::MakeFolder, names_ours(AT_FDCWD, path)) ? -1 : NEXT(mkdir)(path, mode);
}

} // extern "C"
