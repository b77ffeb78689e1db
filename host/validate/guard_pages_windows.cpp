#include "host/validate/guard_pages.h"

#include <windows.h>

namespace talvora::host {

namespace {

PageFaultHandler page_fault_handler = nullptr;

LONG CALLBACK handle_fault(EXCEPTION_POINTERS* fault) {
    const EXCEPTION_RECORD& record = *fault->ExceptionRecord;
    if (record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION) {
        page_fault_handler(reinterpret_cast<const void*>(record.ExceptionInformation[1]),
                           record.ExceptionInformation[0] == 1);
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

} // namespace

std::size_t page_size() {
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return info.dwPageSize;
}

unsigned char* reserve_pages(std::size_t byte_count) {
    return static_cast<unsigned char*>(
        VirtualAlloc(nullptr, byte_count, MEM_RESERVE, PAGE_NOACCESS));
}

bool open_pages(unsigned char* begin, std::size_t byte_count) {
    return VirtualAlloc(begin, byte_count, MEM_COMMIT, PAGE_READWRITE) != nullptr;
}

void close_pages(unsigned char* begin, std::size_t byte_count) {
    DWORD before = 0;
    VirtualProtect(begin, byte_count, PAGE_NOACCESS, &before);
}

void drop_pages(unsigned char* begin, std::size_t byte_count) {
    VirtualFree(begin, byte_count, MEM_DECOMMIT);
}

void note_page_faults(PageFaultHandler handler) {
    page_fault_handler = handler;
    AddVectoredExceptionHandler(1, handle_fault);
}

} // namespace talvora::host
