#include "host/validate/processor.h"

#include <fmt/format.h>

#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <xmmintrin.h>
#endif
#if !defined(_WIN32)
#if defined(__aarch64__)
#include <asm/sigcontext.h>
#endif
#include <elf.h>
#include <ucontext.h>
#endif

namespace talvora::host {

#if defined(__x86_64__)

Settings read_control_registers() {
    // The lowest six bits tell what has happened, not what is to happen.
    Settings settings{{"control bits", fmt::format("{:#x}", _mm_getcsr() & ~0x3FU)}};
    unsigned short word = 0;
    __asm__("fnstcw %0" : "=m"(word));
    settings["x87 control word"] = fmt::format("{:#x}", word);
    return settings;
}

#if !defined(_WIN32)
bool is_write(const void* context) {
    constexpr greg_t WRITE_BIT = 2; // of the processor's page-fault error code
    return (static_cast<const ucontext_t*>(context)->uc_mcontext.gregs[REG_ERR] & WRITE_BIT) != 0;
}

bool holds_an_address(unsigned long relocation_type) {
    return relocation_type == R_X86_64_JUMP_SLOT || relocation_type == R_X86_64_GLOB_DAT ||
           relocation_type == R_X86_64_64;
}
#endif

#elif defined(__aarch64__)

Settings read_control_registers() {
    std::uint64_t bits = 0;
    __asm__("mrs %0, fpcr" : "=r"(bits));
    return {{"control bits", fmt::format("{:#x}", bits)}};
}

// The records behind the registers begin with what they hold and how long they are; the last one is
// empty.
bool is_write(const void* context) {
    constexpr std::uint64_t WRITE_BIT = 0x40; // of the syndrome of a data abort
    const auto& records = static_cast<const ucontext_t*>(context)->uc_mcontext.__reserved;
    const unsigned char* const end = records + sizeof records;
    _aarch64_ctx head{};
    for (const unsigned char* record = records; record + sizeof head <= end; record += head.size) {
        std::memcpy(&head, record, sizeof head);
        if (head.magic == ESR_MAGIC) {
            esr_context syndrome{};
            std::memcpy(&syndrome, record, sizeof syndrome);
            return (syndrome.esr & WRITE_BIT) != 0;
        }
        if (head.size == 0) {
            break;
        }
    }
    return true;
}

bool holds_an_address(unsigned long relocation_type) {
    return relocation_type == R_AARCH64_JUMP_SLOT || relocation_type == R_AARCH64_GLOB_DAT ||
           relocation_type == R_AARCH64_ABS64;
}

#endif

} // namespace talvora::host
