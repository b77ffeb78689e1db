#include "tests/support/heap_watch.h"
#include "tests/support/plugin_memory.h"

#include <cerrno>
#include <stdexcept>
#include <sys/mman.h>

namespace talvora::test_support {

void watch_heap_of(void*) {} // the dynamic linker has led it here

void* reserve_address_range(std::size_t byte_count) {
    void* memory = ::mmap(nullptr, byte_count, PROT_READ | PROT_WRITE,
                          MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::runtime_error("no address range for tracked blocks");
    }
    return memory;
}

} // namespace talvora::test_support

#if !TALVORA_SANITIZER_HEAP

// Visible to the libraries of the process, whatever the build hides by default.
#pragma GCC visibility push(default)
extern "C" {
// The C library's own allocator under its other names.
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);

using namespace talvora::test_support;

void* malloc(std::size_t size) noexcept {
    return refuse_allocation() ? nullptr : __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    return refuse_allocation() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* old, std::size_t size) noexcept {
    if (refuse_allocation()) {
        return nullptr;
    }
    if (old != nullptr) {
        note_plugin_free();
    }
    return __libc_realloc(old, size);
}

void* memalign(std::size_t alignment, std::size_t size) noexcept {
    return refuse_allocation() ? nullptr : __libc_memalign(alignment, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    return memalign(alignment, size);
}

int posix_memalign(void** out, std::size_t alignment, std::size_t size) noexcept {
    void* memory = memalign(alignment, size);
    if (memory == nullptr) {
        return ENOMEM;
    }
    *out = memory;
    return 0;
}

void free(void* address) noexcept {
    if (free_tracked(address)) {
        return;
    }
    if (address != nullptr) {
        note_plugin_free();
    }
    __libc_free(address);
}
}
#pragma GCC visibility pop

#endif
