#include "host/validate/watched_imports.h"

#include "host/interface/host_call.h"
#include "host/validate/guarded_heap.h"
#include "host/validate/held_mappings.h"
#include "host/validate/import_redirection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#if !defined(_WIN32)
#include <csignal>
#include <cstdarg>
#include <dirent.h>
#include <fcntl.h>
#include <malloc.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <threads.h>
#include <unistd.h>
#endif

namespace talvora::host {

namespace {

thread_local int at_work_depth = 0;

bool is_plugin_at_work() {
    return at_work_depth > 0 && !SlotScope::is_active();
}

// ---------------------------------------------------------------------------
// Memory

void* allocate_guarded(std::size_t size, std::size_t alignment = alignof(std::max_align_t)) {
    return is_plugin_at_work() ? GuardedHeap::allocate(size, BlockOwner::Plugin, alignment)
                               : nullptr;
}

void* watched_malloc(std::size_t size) {
    void* block = allocate_guarded(size);
    return block != nullptr ? block : std::malloc(size);
}

void* watched_calloc(std::size_t count, std::size_t size) {
    const bool fits = size == 0 || count <= SIZE_MAX / size;
    void* block = fits ? allocate_guarded(count * size) : nullptr;
    // NOLINTNEXTLINE(clang-analyzer-optin.portability.UnixAPI): as the plug-in asked for it
    return block != nullptr ? std::memset(block, 0, count * size) : std::calloc(count, size);
}

void watched_free(void* address) {
    GuardedHeap::contains(address) ? GuardedHeap::release(address) : std::free(address);
}

void* watched_realloc(void* old, std::size_t size) {
    if (!GuardedHeap::contains(old)) {
        return old == nullptr ? watched_malloc(size) : std::realloc(old, size);
    }
    void* block = watched_malloc(size);
    if (block == nullptr) {
        return nullptr; // the old block is the plug-in's as before
    }
    std::memcpy(block, old, std::min(size, GuardedHeap::size_of(old)));
    watched_free(old);
    return block;
}

#if !defined(_WIN32)
void* watched_aligned_alloc(std::size_t alignment, std::size_t size) {
    void* block = allocate_guarded(size, alignment);
    return block != nullptr ? block : memalign(alignment, size);
}

int watched_posix_memalign(void** out, std::size_t alignment, std::size_t size) {
    void* block = watched_aligned_alloc(alignment, size);
    if (block == nullptr) {
        return ENOMEM;
    }
    *out = block;
    return 0;
}
#endif

// ---------------------------------------------------------------------------
// Mappings

#if !defined(_WIN32)
void* watched_mmap(void* address, std::size_t size, int protection, int flags, int file,
                   off_t offset) {
    void* begin = ::mmap(address, size, protection, flags, file, offset);
    if (begin != MAP_FAILED && is_plugin_at_work()) {
        HeldMappings::add(begin, size);
    }
    return begin;
}

int watched_munmap(void* begin, std::size_t size) {
    HeldMappings::remove(begin, size);
    return ::munmap(begin, size);
}

// Its fifth argument counts when the place is fixed; otherwise it is not looked at.
void* watched_mremap(void* old, std::size_t old_size, std::size_t size, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    void* place = (flags & MREMAP_FIXED) != 0 ? va_arg(arguments, void*) : nullptr;
    va_end(arguments);
    void* begin = ::mremap(old, old_size, size, flags, place);
    if (begin != MAP_FAILED && is_plugin_at_work()) {
        HeldMappings::remove(old, old_size);
        HeldMappings::add(begin, size);
    }
    return begin;
}
#endif

// ---------------------------------------------------------------------------
// Time

bool is_clock_shifted = false;

// How much is added to a time, in seconds.
std::time_t next_shift() {
    constexpr std::time_t AHEAD = 331'234'567; // ten years and a half
    constexpr std::time_t PER_LOOK = 977;
    static std::time_t shift = AHEAD;
    return is_clock_shifted && is_plugin_at_work() ? shift += PER_LOOK : 0;
}

std::time_t watched_time(std::time_t* out) {
    const std::time_t now = std::time(nullptr) + next_shift();
    if (out != nullptr) {
        *out = now;
    }
    return now;
}

std::clock_t watched_clock() {
    return std::clock() + static_cast<std::clock_t>(next_shift()) * CLOCKS_PER_SEC;
}

#if !defined(_WIN32)
int watched_timespec_get(std::timespec* out, int base) {
    const int result = std::timespec_get(out, base);
    out->tv_sec += next_shift();
    return result;
}

int watched_clock_gettime(clockid_t clock, timespec* out) {
    const int result = ::clock_gettime(clock, out);
    if (result == 0) {
        out->tv_sec += next_shift();
    }
    return result;
}

int watched_gettimeofday(timeval* out, void* zone) {
    const int result = ::gettimeofday(out, zone);
    if (result == 0) {
        out->tv_sec += next_shift();
    }
    return result;
}
#endif

// ---------------------------------------------------------------------------
// Calls that an operation has no use for

// By the pointer to its name, which is a literal: noting a call allocates nothing.
struct ForbiddenCalls {
    std::array<const char*, 64> names{};
    std::size_t count = 0;
};
std::array<ForbiddenCalls, 4> forbidden_calls;

void note(Forbidden kind, const char* name) {
    ForbiddenCalls& calls = forbidden_calls[static_cast<std::size_t>(kind)];
    if (is_plugin_at_work() && calls.count < calls.names.size()) {
        calls.names[calls.count++] = name;
    }
}

// A literal as a template argument.
template <std::size_t Size>
struct Name {
    char text[Size];
    // cppcheck-suppress noExplicitConstructor; a literal becomes one as a template argument
    consteval Name(const char (&literal)[Size]) { std::ranges::copy(literal, text); }
};

// The address of a function that notes the call and makes it.
template <Forbidden KIND, Name NAME, auto FUNCTION, typename Result, typename... Arguments>
void* noted(Result (*)(Arguments...)) {
    Result (*const call)(Arguments...) = [](Arguments... arguments) -> Result {
        note(KIND, NAME.text);
        return FUNCTION(arguments...);
    };
    return reinterpret_cast<void*>(call);
}

#define TALVORA_NOTED(kind, function)                                                              \
    { #function, noted<Forbidden::kind, #function, &::function>(&::function) }

#if defined(_WIN32)

Redirections list_redirections() {
    return {{"malloc", reinterpret_cast<void*>(watched_malloc)},
            {"calloc", reinterpret_cast<void*>(watched_calloc)},
            {"realloc", reinterpret_cast<void*>(watched_realloc)},
            {"free", reinterpret_cast<void*>(watched_free)},
            {"_time64", reinterpret_cast<void*>(watched_time)},
            {"clock", reinterpret_cast<void*>(watched_clock)},
            TALVORA_NOTED(File, fopen),
            TALVORA_NOTED(File, remove),
            TALVORA_NOTED(File, rename),
            TALVORA_NOTED(Process, system)};
}

#else

// The third argument counts when a file is created; otherwise it is not looked at.
mode_t mode_argument(int flags, std::va_list arguments) {
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
}

int noted_open(const char* path, int flags, ...) {
    note(Forbidden::File, "open");
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = mode_argument(flags, arguments);
    va_end(arguments);
    return ::open(path, flags, mode);
}

int noted_openat(int folder, const char* path, int flags, ...) {
    note(Forbidden::File, "openat");
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = mode_argument(flags, arguments);
    va_end(arguments);
    return ::openat(folder, path, flags, mode);
}

// Its first argument is an enumeration in C++ alone.
int noted_setitimer(int timer, const itimerval* value, itimerval* old) {
    note(Forbidden::Signal, "setitimer");
    return ::setitimer(static_cast<__itimer_which_t>(timer), value, old);
}

Redirections list_redirections() {
    void* const open_function = reinterpret_cast<void*>(noted_open);
    void* const openat_function = reinterpret_cast<void*>(noted_openat);
    return {{"malloc", reinterpret_cast<void*>(watched_malloc)},
            {"calloc", reinterpret_cast<void*>(watched_calloc)},
            {"realloc", reinterpret_cast<void*>(watched_realloc)},
            {"free", reinterpret_cast<void*>(watched_free)},
            {"aligned_alloc", reinterpret_cast<void*>(watched_aligned_alloc)},
            {"memalign", reinterpret_cast<void*>(watched_aligned_alloc)},
            {"posix_memalign", reinterpret_cast<void*>(watched_posix_memalign)},
            {"mmap", reinterpret_cast<void*>(watched_mmap)},
            {"mmap64", reinterpret_cast<void*>(watched_mmap)},
            {"munmap", reinterpret_cast<void*>(watched_munmap)},
            {"mremap", reinterpret_cast<void*>(watched_mremap)},
            {"time", reinterpret_cast<void*>(watched_time)},
            {"clock", reinterpret_cast<void*>(watched_clock)},
            {"timespec_get", reinterpret_cast<void*>(watched_timespec_get)},
            {"clock_gettime", reinterpret_cast<void*>(watched_clock_gettime)},
            {"gettimeofday", reinterpret_cast<void*>(watched_gettimeofday)},
            {"open", open_function},
            {"open64", open_function},
            {"openat", openat_function},
            {"openat64", openat_function},
            TALVORA_NOTED(File, creat),
            TALVORA_NOTED(File, fopen),
            TALVORA_NOTED(File, fopen64),
            TALVORA_NOTED(File, freopen),
            TALVORA_NOTED(File, opendir),
            TALVORA_NOTED(File, mkdir),
            TALVORA_NOTED(File, unlink),
            TALVORA_NOTED(File, remove),
            TALVORA_NOTED(File, rename),
            TALVORA_NOTED(File, socket),
            TALVORA_NOTED(File, tmpfile),
            TALVORA_NOTED(File, mkstemp),
            TALVORA_NOTED(File, memfd_create),
            TALVORA_NOTED(Thread, pthread_create),
            TALVORA_NOTED(Thread, thrd_create),
            TALVORA_NOTED(Signal, alarm),
            TALVORA_NOTED(Signal, sigaltstack),
            TALVORA_NOTED(Signal, timer_create),
            {"setitimer", reinterpret_cast<void*>(noted_setitimer)},
            {"vfork", noted<Forbidden::Process, "vfork", &::fork>(&::fork)},
            TALVORA_NOTED(Process, fork),
            TALVORA_NOTED(Process, system),
            TALVORA_NOTED(Process, popen),
            TALVORA_NOTED(Process, posix_spawn),
            TALVORA_NOTED(Process, posix_spawnp),
            TALVORA_NOTED(Process, execv),
            TALVORA_NOTED(Process, execve),
            TALVORA_NOTED(Process, execvp)};
}

#endif

bool is_cpp_library(std::string_view file) {
    return file.find("libstdc++") != std::string_view::npos ||
           file.find("libc++") != std::string_view::npos;
}

} // namespace

void watch_imports(const std::set<std::string>& own_libraries) {
    redirect_imports(list_redirections(), [&](std::string_view file) {
        return !own_libraries.contains(std::string(file)) || is_cpp_library(file);
    });
}

PluginAtWork::PluginAtWork() {
    ++at_work_depth;
}

PluginAtWork::~PluginAtWork() {
    --at_work_depth;
}

void shift_clocks() {
    is_clock_shifted = true;
}

std::set<std::string> take_forbidden_calls(Forbidden kind) {
    ForbiddenCalls& calls = forbidden_calls[static_cast<std::size_t>(kind)];
    std::set<std::string> names(calls.names.begin(), calls.names.begin() + calls.count);
    calls.count = 0;
    return names;
}

} // namespace talvora::host
