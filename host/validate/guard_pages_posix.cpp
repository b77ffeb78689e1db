#include "host/validate/guard_pages.h"
#include "host/validate/processor.h"

#include <array>
#include <csignal>
#include <cstdint>
#include <initializer_list>
#include <sys/mman.h>
#include <unistd.h>

namespace talvora::host {

namespace {

PageFaultHandler page_fault_handler = nullptr;

void handle_fault(int, siginfo_t* info, void* context) {
    page_fault_handler(info->si_addr, is_write(context));
    // The handler is gone (SA_RESETHAND): going on repeats the access and ends of it.
}

} // namespace

std::size_t page_size() {
    static const auto size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return size;
}

unsigned char* reserve_pages(std::size_t byte_count) {
    void* range =
        mmap(nullptr, byte_count, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return range == MAP_FAILED ? nullptr : static_cast<unsigned char*>(range);
}

bool reserve_pages_at(unsigned char* begin, std::size_t byte_count) {
    void* range = mmap(begin, byte_count, PROT_NONE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED_NOREPLACE, -1, 0);
    if (range != MAP_FAILED && range != begin) {
        munmap(range, byte_count); // an older system takes the place for a wish
    }
    return range == begin;
}

void release_pages(unsigned char* begin, std::size_t byte_count) {
    if (byte_count > 0) {
        munmap(begin, byte_count);
    }
}

bool open_pages(unsigned char* begin, std::size_t byte_count) {
    return mprotect(begin, byte_count, PROT_READ | PROT_WRITE) == 0;
}

void close_pages(unsigned char* begin, std::size_t byte_count) {
    mprotect(begin, byte_count, PROT_NONE);
}

void drop_pages(unsigned char* begin, std::size_t byte_count) {
    // NOLINTNEXTLINE(bugprone-unused-return-value): pages that stay cost memory alone
    mmap(begin, byte_count, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED, -1,
         0);
}

void take_fault_stack() {
    // The fault may be that of a stack which has run out.
    static std::array<unsigned char, std::size_t{64} * 1024> stack;
    stack_t alternate{};
    alternate.ss_sp = stack.data();
    alternate.ss_size = stack.size();
    sigaltstack(&alternate, nullptr);
}

void note_page_faults(PageFaultHandler handler) {
    page_fault_handler = handler;
    take_fault_stack();
    struct sigaction action {};
    action.sa_sigaction = handle_fault;
    action.sa_flags = static_cast<int>(SA_SIGINFO | SA_ONSTACK | SA_RESETHAND);
    for (const int signal : {SIGSEGV, SIGBUS}) {
        sigaction(signal, &action, nullptr);
    }
}

} // namespace talvora::host
