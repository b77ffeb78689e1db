#include "host/validate/exported_names.h"

#include <cstddef>
#include <cstring>
#include <elf.h>
#include <fstream>
#include <stdexcept>

namespace talvora::host {

namespace {

// A file's bytes, read at places that the file itself names: each is checked.
class Bytes {
  public:
    explicit Bytes(const std::filesystem::path& file)
        : bytes_(std::filesystem::file_size(file), ' ') {
        std::ifstream(file, std::ios::binary)
            .read(bytes_.data(), static_cast<std::streamsize>(bytes_.size()));
    }

    template <typename Record>
    Record read(std::uint64_t offset) const {
        if (offset > bytes_.size() || bytes_.size() - offset < sizeof(Record)) {
            throw std::runtime_error("ends before its tables do");
        }
        Record record;
        std::memcpy(&record, bytes_.data() + offset, sizeof(record));
        return record;
    }

    std::string read_text(std::uint64_t offset) const {
        std::string text;
        for (char letter = read<char>(offset); letter != '\0'; letter = read<char>(++offset)) {
            text += letter;
        }
        return text;
    }

  private:
    std::string bytes_;
};

// The part that both widths of libraries have in common; all zero where the file is shorter.
Elf64_Ehdr read_beginning(const std::filesystem::path& file) {
    Elf64_Ehdr header{};
    std::ifstream(file, std::ios::binary)
        .read(reinterpret_cast<char*>(&header), offsetof(Elf64_Ehdr, e_version));
    return header;
}

bool is_elf(const Elf64_Ehdr& header) {
    return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0;
}

// The number's own bytes may be the other way round.
unsigned machine_of(const Elf64_Ehdr& header, const Elf64_Ehdr& own) {
    const unsigned number = header.e_machine;
    const bool is_swapped = header.e_ident[EI_DATA] != own.e_ident[EI_DATA];
    return is_swapped ? (number & 0xFF) << 8 | number >> 8 : number;
}

Elf64_Ehdr read_header(const Bytes& bytes) {
    const auto header = bytes.read<Elf64_Ehdr>(0);
    if (!is_elf(header) || header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_type != ET_DYN) {
        throw std::runtime_error("is no shared library of 64 bits");
    }
    return header;
}

Elf64_Shdr read_section(const Bytes& bytes, const Elf64_Ehdr& header, std::uint64_t index) {
    return bytes.read<Elf64_Shdr>(header.e_shoff + index * header.e_shentsize);
}

bool is_exported(const Elf64_Sym& symbol) {
    const auto binding = ELF64_ST_BIND(symbol.st_info);
    const auto visibility = ELF64_ST_VISIBILITY(symbol.st_other);
    return symbol.st_shndx != SHN_UNDEF && binding != STB_LOCAL &&
           (visibility == STV_DEFAULT || visibility == STV_PROTECTED);
}

std::vector<std::string> read_names(const Bytes& bytes, const Elf64_Shdr& symbols,
                                    const Elf64_Shdr& texts) {
    std::vector<std::string> names;
    for (std::uint64_t at = 0; at + sizeof(Elf64_Sym) <= symbols.sh_size; at += sizeof(Elf64_Sym)) {
        const auto symbol = bytes.read<Elf64_Sym>(symbols.sh_offset + at);
        if (is_exported(symbol)) {
            names.push_back(bytes.read_text(texts.sh_offset + symbol.st_name));
        }
    }
    return names;
}

} // namespace

std::string describe_other_machine(const std::filesystem::path& file) {
    const Elf64_Ehdr own = read_beginning("/proc/self/exe");
    const Elf64_Ehdr header = read_beginning(file);
    const unsigned machine = machine_of(header, own);
    if (!is_elf(header) || machine == own.e_machine) {
        return {};
    }
    return "is built for another machine (" + std::to_string(machine) +
           " in its ELF header, this one is " + std::to_string(own.e_machine) + ")";
}

std::vector<std::string> list_exported_names(const std::filesystem::path& file) {
    if (const std::string other = describe_other_machine(file); !other.empty()) {
        throw std::runtime_error(other);
    }
    const Bytes bytes(file);
    const Elf64_Ehdr header = read_header(bytes);
    for (std::uint64_t i = 0; i < header.e_shnum; ++i) {
        const Elf64_Shdr section = read_section(bytes, header, i);
        if (section.sh_type == SHT_DYNSYM) {
            return read_names(bytes, section, read_section(bytes, header, section.sh_link));
        }
    }
    return {};
}

} // namespace talvora::host
