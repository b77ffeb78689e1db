// For preloading: another user, who may write to the folder, puts a link in the place of an
// unfinished file, at one of the moments in which the program goes back to that.
//
//     SWAP_AFTER   that many such moments pass before it
//     SWAP_TARGET  what the link leads to
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

char unfinished[PATH_MAX] = {};
long moments = 0;

void swap_in_time() {
    const char* const after = std::getenv("SWAP_AFTER");
    const char* const target = std::getenv("SWAP_TARGET");
    if (after == nullptr || target == nullptr || unfinished[0] == '\0' ||
        moments++ != std::atol(after)) {
        return;
    }
    const int before = errno;
    struct stat status {};
    if (lstat(unfinished, &status) == 0 && unlink(unfinished) == 0) {
        [[maybe_unused]] const int made = symlink(target, unfinished);
    }
    errno = before;
}

bool leads_to_unfinished(const char* path) {
    return std::strcmp(path, unfinished) == 0 || std::strncmp(path, "/proc/self/fd/", 14) == 0;
}

template <typename Function>
Function* next(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// NOLINTNEXTLINE(cppcoreguidelines-macro-usage): the name is needed as a text
#define NEXT(function) next(&::function, #function)

#define SWAP_AND_OPEN(function)                                                                    \
    mode_t mode = 0;                                                                               \
    if ((flags & O_CREAT) != 0) {                                                                  \
        std::va_list arguments;                                                                    \
        va_start(arguments, flags);                                                                \
        mode = va_arg(arguments, mode_t);                                                          \
        va_end(arguments);                                                                         \
    }                                                                                              \
    if (leads_to_unfinished(path)) {                                                               \
        swap_in_time();                                                                            \
    }                                                                                              \
    return NEXT(function)(path, flags, mode);

} // namespace

extern "C" {

int mkostemps(char* path, int suffix, int flags) {
    const int file = NEXT(mkostemps)(path, suffix, flags);
    if (file >= 0) {
        std::strncpy(unfinished, path, sizeof unfinished - 1);
        swap_in_time();
    }
    return file;
}

int open(const char* path, int flags, ...) {
    SWAP_AND_OPEN(open)
}

int open64(const char* path, int flags, ...) {
    SWAP_AND_OPEN(open64)
}

int chmod(const char* path, mode_t mode) {
    swap_in_time();
    return NEXT(chmod)(path, mode);
}

int chown(const char* path, uid_t user, gid_t group) {
    swap_in_time();
    return NEXT(chown)(path, user, group);
}

int fsync(int file) {
    swap_in_time();
    return NEXT(fsync)(file);
}

} // extern "C"
