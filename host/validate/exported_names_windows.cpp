#include "host/validate/exported_names.h"

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <windows.h>

namespace talvora::host {

namespace {

struct Unmap {
    void operator()(void* library) const { FreeLibrary(static_cast<HMODULE>(library)); }
};

template <typename Item>
const Item* at(const void* begin, std::uint64_t distance) {
    return reinterpret_cast<const Item*>(static_cast<const unsigned char*>(begin) + distance);
}

IMAGE_DATA_DIRECTORY exports_of(const void* begin) {
    const auto* start = at<IMAGE_DOS_HEADER>(begin, 0);
    const auto* headers = at<IMAGE_NT_HEADERS>(begin, static_cast<std::uint64_t>(start->e_lfanew));
    return headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
}

} // namespace

std::vector<std::string> list_exported_names(const std::filesystem::path& file) {
    // Mapped without running anything of its own.
    const std::unique_ptr<void, Unmap> library(LoadLibraryExW(
        std::filesystem::absolute(file).c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES));
    if (library == nullptr) {
        throw std::runtime_error("is no library of this platform");
    }
    const IMAGE_DATA_DIRECTORY directory = exports_of(library.get());
    if (directory.Size == 0) {
        return {};
    }
    const auto* exports = at<IMAGE_EXPORT_DIRECTORY>(library.get(), directory.VirtualAddress);
    const auto* places = at<DWORD>(library.get(), exports->AddressOfNames);
    std::vector<std::string> names;
    for (DWORD i = 0; i < exports->NumberOfNames; ++i) {
        names.emplace_back(at<char>(library.get(), places[i]));
    }
    return names;
}

std::string describe_other_machine(const std::filesystem::path&) {
    return {};
}

} // namespace talvora::host
