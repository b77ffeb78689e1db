// What memcheck sees of a test program that brings its own heap (heap_watch_linux.cpp). Its
// malloc and free end in the C library's under names that memcheck does not know; preloaded,
// this library answers to those names and passes on to the names that memcheck watches. It
// also has operator new turn to malloc, as the C++ library's own does where memcheck does
// not take its place, so that tests see each allocation.
#include <cstddef>
#include <cstdlib>
#include <dlfcn.h>
#include <new>

namespace {

template <typename Function>
Function* find_next(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

void* allocate(std::size_t size) {
    void* memory = std::malloc(size == 0 ? 1 : size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

void* allocate(std::size_t size, std::align_val_t alignment) {
    void* memory = std::aligned_alloc(static_cast<std::size_t>(alignment), size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

} // namespace

#pragma GCC visibility push(default)
extern "C" {
void* __libc_malloc(std::size_t size) {
    static auto* const next = find_next<void*(std::size_t)>("malloc");
    return next(size);
}

void* __libc_calloc(std::size_t count, std::size_t size) {
    static auto* const next = find_next<void*(std::size_t, std::size_t)>("calloc");
    return next(count, size);
}

void* __libc_realloc(void* old, std::size_t size) {
    static auto* const next = find_next<void*(void*, std::size_t)>("realloc");
    return next(old, size);
}

void* __libc_memalign(std::size_t alignment, std::size_t size) {
    static auto* const next = find_next<void*(std::size_t, std::size_t)>("memalign");
    return next(alignment, size);
}

void __libc_free(void* address) {
    static auto* const next = find_next<void(void*)>("free");
    next(address);
}
}
#pragma GCC visibility pop

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocate(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return allocate(size, alignment);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return std::malloc(size == 0 ? 1 : size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return std::malloc(size == 0 ? 1 : size);
}

void operator delete(void* address) noexcept {
    std::free(address);
}
void operator delete[](void* address) noexcept {
    std::free(address);
}
void operator delete(void* address, std::size_t) noexcept {
    std::free(address);
}
void operator delete[](void* address, std::size_t) noexcept {
    std::free(address);
}
void operator delete(void* address, std::align_val_t) noexcept {
    std::free(address);
}
void operator delete[](void* address, std::align_val_t) noexcept {
    std::free(address);
}
void operator delete(void* address, std::size_t, std::align_val_t) noexcept {
    std::free(address);
}
void operator delete[](void* address, std::size_t, std::align_val_t) noexcept {
    std::free(address);
}
void operator delete(void* address, const std::nothrow_t&) noexcept {
    std::free(address);
}
void operator delete[](void* address, const std::nothrow_t&) noexcept {
    std::free(address);
}
