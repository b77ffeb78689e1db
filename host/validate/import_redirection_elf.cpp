#include "host/validate/guard_pages.h"
#include "host/validate/import_redirection.h"
#include "host/validate/loaded_libraries.h"
#include "host/validate/processor.h"

#include <cstdint>
#include <cstring>
#include <elf.h>
#include <link.h>
#include <span>

namespace talvora::host {

namespace {

// The format gives addresses as integers.
// NOLINTBEGIN(performance-no-int-to-ptr)

// The parts of a library's dynamic section that say which names it imports, and where
// their addresses stand.
struct DynamicSection {
    const char* texts = nullptr;
    const Elf64_Sym* symbols = nullptr;
    std::span<const Elf64_Rela> relocations[2];
};

std::span<const Elf64_Rela> relocations_at(const Elf64_Dyn* address, const Elf64_Dyn* byte_count) {
    if (address == nullptr || byte_count == nullptr) {
        return {};
    }
    return {reinterpret_cast<const Elf64_Rela*>(address->d_un.d_ptr),
            byte_count->d_un.d_val / sizeof(Elf64_Rela)};
}

const Elf64_Dyn* find_entry(const Elf64_Dyn* entries, Elf64_Sxword tag) {
    for (; entries->d_tag != DT_NULL; ++entries) {
        if (entries->d_tag == tag) {
            return entries;
        }
    }
    return nullptr;
}

DynamicSection read_section(const Elf64_Dyn* entries) {
    const Elf64_Dyn* texts = find_entry(entries, DT_STRTAB);
    const Elf64_Dyn* symbols = find_entry(entries, DT_SYMTAB);
    if (texts == nullptr || symbols == nullptr) {
        return {};
    }
    return {reinterpret_cast<const char*>(texts->d_un.d_ptr),
            reinterpret_cast<const Elf64_Sym*>(symbols->d_un.d_ptr),
            {relocations_at(find_entry(entries, DT_JMPREL), find_entry(entries, DT_PLTRELSZ)),
             relocations_at(find_entry(entries, DT_RELA), find_entry(entries, DT_RELASZ))}};
}

DynamicSection find_section(const dl_phdr_info& library) {
    for (const Elf64_Phdr& header : std::span(library.dlpi_phdr, library.dlpi_phnum)) {
        if (header.p_type == PT_DYNAMIC) {
            return read_section(
                reinterpret_cast<const Elf64_Dyn*>(library.dlpi_addr + header.p_vaddr));
        }
    }
    return {};
}

// The linker may have closed the table of addresses to writing.
void write_address(std::uintptr_t place, void* address) {
    const std::uintptr_t page = place / page_size() * page_size();
    open_pages(reinterpret_cast<unsigned char*>(page), place + sizeof(address) - page);
    std::memcpy(reinterpret_cast<void*>(place), &address, sizeof(address));
}

// NOLINTEND(performance-no-int-to-ptr)

std::size_t redirect_library(const dl_phdr_info& library, const Redirections& redirections) {
    const DynamicSection section = find_section(library);
    std::size_t count = 0;
    for (const auto relocations : section.relocations) {
        for (const Elf64_Rela& relocation : relocations) {
            const Elf64_Sym& symbol = section.symbols[ELF64_R_SYM(relocation.r_info)];
            const auto found = redirections.find(std::string_view(section.texts + symbol.st_name));
            if (!holds_an_address(ELF64_R_TYPE(relocation.r_info)) || found == redirections.end()) {
                continue;
            }
            write_address(library.dlpi_addr + relocation.r_offset, found->second);
            ++count;
        }
    }
    return count;
}

} // namespace

std::set<std::string> list_loaded_libraries() {
    std::set<std::string> files;
    visit_libraries([&](const dl_phdr_info& library) { files.insert(library.dlpi_name); });
    return files;
}

std::size_t redirect_imports(const Redirections& redirections,
                             const std::function<bool(std::string_view file)>& is_meant) {
    std::size_t count = 0;
    visit_libraries([&](const dl_phdr_info& library) {
        if (is_meant(library.dlpi_name)) {
            count += redirect_library(library, redirections);
        }
    });
    return count;
}

} // namespace talvora::host
