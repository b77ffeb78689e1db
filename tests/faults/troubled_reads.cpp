// Preloaded into a program: what the HDF5 library may get into over a file that is damaged, or that
// another program changes, at will. Reads at a position of a file, which that library alone makes,
// run into trouble.
//
//     TROUBLE        crash, loop, stop, hoard (asks for memory until there is none, then fails),
//                    slow (a fifth of a second each), or change (the last byte of the file becomes
//                    another, once; before a read of any kind); else nothing happens
//     TROUBLED_FILE  a part of the file's path
//     TROUBLE_AFTER  how many such reads go well first
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <string_view>
#include <sys/types.h>
#include <tuple>
#include <unistd.h>

namespace {

std::string_view variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

bool is_troubled(int file) {
    char link[64];
    char path[PATH_MAX] = {};
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", file);
    return readlink(link, path, sizeof path - 1) > 0 &&
           std::string_view(path).find(variable("TROUBLED_FILE")) != std::string_view::npos;
}

// False when so much can be had that no limit holds.
bool hoard() {
    constexpr std::size_t BLOCK = std::size_t{16} << 20U;
    constexpr int MAX_BLOCKS = 128;
    for (int i = 0; i < MAX_BLOCKS; ++i) {
        void* const block = std::malloc(BLOCK);
        if (block == nullptr) {
            errno = ENOMEM;
            return true;
        }
        std::memset(block, 1, BLOCK);
    }
    return false;
}

// As another program does that knows no locks.
void change_last_byte(int file) {
    char link[64];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", file);
    const int other = open(link, O_RDWR | O_CLOEXEC);
    const off_t at = lseek(other, -1, SEEK_END);
    char byte = 0;
    if (read(other, &byte, 1) == 1) {
        byte = static_cast<char>(~byte);
        lseek(other, at, SEEK_SET);
        std::ignore = write(other, &byte, 1);
    }
    close(other);
}

// Whether the read fails.
bool get_into_trouble(std::string_view kind, int file) {
    static std::atomic<bool> changed = false;
    if (kind == "change" && !changed.exchange(true)) {
        change_last_byte(file);
    }
    if (kind == "crash") {
        std::raise(SIGSEGV);
    }
    std::atomic<bool> forever = kind == "loop";
    while (forever) {
    }
    if (kind == "stop") {
        std::raise(SIGSTOP);
    }
    if (kind == "slow") {
        usleep(200'000);
    }
    return kind == "hoard" && hoard();
}

bool fails(int file) {
    static std::atomic<int> reads = 0;
    const std::string_view kind = variable("TROUBLE");
    return !kind.empty() && is_troubled(file) &&
           reads++ >= std::atoi(variable("TROUBLE_AFTER").data()) && get_into_trouble(kind, file);
}

template <typename Function>
Function* next(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

ssize_t read(int file, void* bytes, size_t count) {
    if (variable("TROUBLE") == "change") {
        fails(file);
    }
    return next(&read, "read")(file, bytes, count);
}

ssize_t pread(int file, void* bytes, size_t count, off_t at) {
    return fails(file) ? -1 : next(&pread, "pread")(file, bytes, count, at);
}

ssize_t pread64(int file, void* bytes, size_t count, off64_t at) {
    return fails(file) ? -1 : next(&pread64, "pread64")(file, bytes, count, at);
}

} // extern "C"
