#include "tests/support/heap_watch.h"
#include "tests/support/plugin_memory.h"

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string_view>

// After the standard library and without the macros that take names from it.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace talvora::test_support {

namespace {

// The system's own functions, read from the first import that was pointed elsewhere.
struct SystemHeap {
    void* (*malloc)(std::size_t);
    void* (*calloc)(std::size_t, std::size_t);
    void* (*realloc)(void*, std::size_t);
    void (*free)(void*);
    void* (*aligned_malloc)(std::size_t, std::size_t);
    void (*aligned_free)(void*);
};
SystemHeap heap{};

void* watched_malloc(std::size_t size) {
    return refuse_allocation() ? nullptr : heap.malloc(size);
}

void* watched_calloc(std::size_t count, std::size_t size) {
    return refuse_allocation() ? nullptr : heap.calloc(count, size);
}

void* watched_realloc(void* old, std::size_t size) {
    if (refuse_allocation()) {
        return nullptr;
    }
    if (old != nullptr) {
        note_plugin_free();
    }
    return heap.realloc(old, size);
}

void watched_free(void* address) {
    if (free_tracked(address)) {
        return;
    }
    if (address != nullptr) {
        note_plugin_free();
    }
    heap.free(address);
}

void* watched_aligned_malloc(std::size_t size, std::size_t alignment) {
    return refuse_allocation() ? nullptr : heap.aligned_malloc(size, alignment);
}

void watched_aligned_free(void* address) {
    if (address != nullptr) {
        note_plugin_free();
    }
    heap.aligned_free(address);
}

struct WatchedFunction {
    std::string_view name;
    void* watched;
    void* system; // where the system's own is kept
};

template <typename Function>
WatchedFunction watch(std::string_view name, Function* watched, Function** system) {
    return {name, reinterpret_cast<void*>(watched), static_cast<void*>(system)};
}

const WatchedFunction WATCHED_FUNCTIONS[] = {
    watch("malloc", watched_malloc, &heap.malloc),
    watch("calloc", watched_calloc, &heap.calloc),
    watch("realloc", watched_realloc, &heap.realloc),
    watch("free", watched_free, &heap.free),
    watch("_aligned_malloc", watched_aligned_malloc, &heap.aligned_malloc),
    watch("_aligned_free", watched_aligned_free, &heap.aligned_free),
};

// The address that the module calls through; read-only memory once it is loaded.
void redirect_import(IMAGE_THUNK_DATA& import, const WatchedFunction& function) {
    if (reinterpret_cast<void*>(import.u1.Function) == function.watched) {
        return;
    }
    DWORD protection = 0;
    if (VirtualProtect(&import, sizeof import, PAGE_READWRITE, &protection) == 0) {
        throw std::runtime_error("the imports of a module cannot be changed");
    }
    std::memcpy(function.system, &import.u1.Function, sizeof(void*));
    std::memcpy(&import.u1.Function, &function.watched, sizeof(void*));
    VirtualProtect(&import, sizeof import, protection, &protection);
}

// A loaded module's parts, by their offset from its start.
struct Module {
    unsigned char* begin;

    template <typename Part>
    Part* part_at(std::uint64_t offset) const {
        return reinterpret_cast<Part*>(begin + offset);
    }
    const IMAGE_IMPORT_DESCRIPTOR* first_import_descriptor() const {
        const auto header_offset =
            static_cast<std::uint64_t>(part_at<IMAGE_DOS_HEADER>(0)->e_lfanew);
        const auto& optional = part_at<IMAGE_NT_HEADERS64>(header_offset)->OptionalHeader;
        return part_at<IMAGE_IMPORT_DESCRIPTOR>(
            optional.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
    }
};

// All imports of the heap's functions, whichever library they come from: the names say
// enough. Names and addresses are two lists of one length.
void redirect_imports(const Module& module, const IMAGE_IMPORT_DESCRIPTOR& library) {
    const auto* name = module.part_at<IMAGE_THUNK_DATA>(library.OriginalFirstThunk);
    auto* import = module.part_at<IMAGE_THUNK_DATA>(library.FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++import) {
        if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) {
            continue;
        }
        const char* text = module.part_at<IMAGE_IMPORT_BY_NAME>(name->u1.AddressOfData)->Name;
        for (const WatchedFunction& function : WATCHED_FUNCTIONS) {
            if (function.name == text) {
                redirect_import(*import, function);
            }
        }
    }
}

} // namespace

void watch_heap_of(void* library) {
    const Module module{static_cast<unsigned char*>(library)};
    for (const auto* from = module.first_import_descriptor(); from->Name != 0; ++from) {
        redirect_imports(module, *from);
    }
}

void* reserve_address_range(std::size_t byte_count) {
    void* memory = VirtualAlloc(nullptr, byte_count, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    if (memory == nullptr) {
        throw std::runtime_error("no address range for tracked blocks");
    }
    watch_heap_of(GetModuleHandleW(nullptr));
    return memory;
}

} // namespace talvora::test_support
