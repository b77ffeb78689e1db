#include "host/validate/import_redirection.h"

// The second needs the first.
// clang-format off
#include <windows.h>
#include <psapi.h>
// clang-format on

#include <cstdint>
#include <vector>

namespace talvora::host {

namespace {

std::vector<HMODULE> list_modules() {
    std::vector<HMODULE> modules(1024);
    DWORD byte_count = 0;
    const auto room = static_cast<DWORD>(modules.size() * sizeof(HMODULE));
    if (EnumProcessModules(GetCurrentProcess(), modules.data(), room, &byte_count) == 0) {
        byte_count = 0;
    }
    modules.resize(byte_count < room ? byte_count / sizeof(HMODULE) : modules.size());
    return modules;
}

std::string file_of(HMODULE module) {
    char path[MAX_PATH] = {};
    GetModuleFileNameA(module, path, MAX_PATH);
    return path;
}

// Addresses inside a loaded library stand in its headers as distances from its beginning.
template <typename Item>
Item* at(HMODULE module, std::uint64_t distance) {
    return reinterpret_cast<Item*>(reinterpret_cast<std::uintptr_t>(module) + distance);
}

const IMAGE_IMPORT_DESCRIPTOR* find_imports(HMODULE module) {
    const auto* start = at<const IMAGE_DOS_HEADER>(module, 0);
    const auto* headers =
        at<const IMAGE_NT_HEADERS>(module, static_cast<std::uint64_t>(start->e_lfanew));
    const IMAGE_DATA_DIRECTORY& imports =
        headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    return imports.Size == 0 ? nullptr
                             : at<const IMAGE_IMPORT_DESCRIPTOR>(module, imports.VirtualAddress);
}

void write_address(ULONGLONG* place, void* address) {
    DWORD before = 0;
    VirtualProtect(place, sizeof(*place), PAGE_READWRITE, &before);
    *place = reinterpret_cast<ULONGLONG>(address);
    VirtualProtect(place, sizeof(*place), before, &before);
}

std::size_t redirect_module(HMODULE module, const Redirections& redirections) {
    std::size_t count = 0;
    const IMAGE_IMPORT_DESCRIPTOR* library = find_imports(module);
    for (; library != nullptr && library->Name != 0; ++library) {
        const auto* name = at<const IMAGE_THUNK_DATA>(module, library->OriginalFirstThunk);
        auto* place = at<IMAGE_THUNK_DATA>(module, library->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++place) {
            if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) {
                continue;
            }
            const auto* import = at<const IMAGE_IMPORT_BY_NAME>(module, name->u1.AddressOfData);
            const auto found = redirections.find(std::string_view(import->Name));
            if (found == redirections.end()) {
                continue;
            }
            write_address(&place->u1.Function, found->second);
            ++count;
        }
    }
    return count;
}

} // namespace

std::set<std::string> list_loaded_libraries() {
    std::set<std::string> files;
    for (const HMODULE module : list_modules()) {
        files.insert(file_of(module));
    }
    return files;
}

std::size_t redirect_imports(const Redirections& redirections,
                             const std::function<bool(std::string_view file)>& is_meant) {
    std::size_t count = 0;
    for (const HMODULE module : list_modules()) {
        if (is_meant(file_of(module))) {
            count += redirect_module(module, redirections);
        }
    }
    return count;
}

} // namespace talvora::host
